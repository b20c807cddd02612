#include "cms/SignatureBlock.h"

#include "common/Base64.h"
#include "common/SignerErrors.h"

#include <array>

namespace {

constexpr std::size_t LineLength = 64;
// Blocks with a long chain and a time stamp stay under 20,000 characters.
constexpr std::size_t LongestSignature = 1'048'576;
constexpr std::wstring_view BeginLine = L"Begin signature block";
constexpr std::wstring_view EndLine = L"End signature block";
constexpr std::wstring_view Alphabet = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::wstring_view PrefixOf(ScriptKind kind) {
    return kind == ScriptKind::VBScript ? L"'' SIG '' " : L"// SIG // ";
}

constexpr std::array<BYTE, 128> MakeReverse() {
    std::array<BYTE, 128> reverse{};
    reverse.fill(0xFF);
    for (std::size_t i = 0; i < Alphabet.size(); ++i)
        reverse[Alphabet[i]] = static_cast<BYTE>(i);
    return reverse;
}

/// Where the first line with the prefix starts, or npos.
std::size_t FindBlockLine(std::wstring_view text, std::wstring_view prefix) {
    for (std::size_t at = text.find(prefix); at != std::wstring_view::npos; at = text.find(prefix, at + 1)) {
        if (at == 0 || text[at - 1] == L'\n' || text[at - 1] == L'\r')
            return at;
    }
    return std::wstring_view::npos;
}

/// Reads the block's lines one by one.
class CBlockLines {
public:
    CBlockLines(std::wstring_view block, std::wstring_view prefix, std::wstring_view lineBreak)
        : m_rest(block), m_prefix(prefix), m_break(lineBreak) {}

    std::wstring_view Rest() const { return m_rest; }

    /// The next line without prefix and line break.
    std::wstring_view Next() {
        const std::size_t end = m_rest.find(m_break);
        if (end == std::wstring_view::npos || !m_rest.starts_with(m_prefix) || end < m_prefix.size())
            throw CRefusal(L"the signature block is damaged or cut off");
        const std::wstring_view line = m_rest.substr(m_prefix.size(), end - m_prefix.size());
        m_rest.remove_prefix(end + m_break.size());
        return line;
    }

private:
    std::wstring_view m_rest;
    std::wstring_view m_prefix;
    std::wstring_view m_break;
};

std::wstring ReadBase64Lines(CBlockLines& lines) {
    std::wstring base64;
    std::size_t width = 0;
    for (bool last = false;;) {
        const std::wstring_view line = lines.Next();
        if (line == EndLine)
            return base64;
        if (width == 0)
            width = line.size();
        // All lines are as long as the first; only the last may be shorter.
        if (last || line.empty() || line.size() > width)
            throw CRefusal(L"the signature block is damaged: its lines differ in length");
        last = line.size() < width;
        base64 += line;
        if (base64.size() > LongestSignature)
            throw CRefusal(L"the signature block is too long");
    }
}

} // namespace

// Not the platform's reader, which takes several spellings for the same bytes.
CBytes DecodeBase64(std::wstring_view text) {
    static constexpr std::array<BYTE, 128> reverse = MakeReverse();
    const auto malformed = [] { throw CRefusal(L"the signature block is damaged: it is not base64"); };
    if (text.empty() || text.size() % 4 != 0)
        malformed();
    const std::size_t padding = text.ends_with(L"==") ? 2 : text.ends_with(L'=') ? 1 : 0;
    CBytes bytes;
    bytes.reserve(text.size() / 4 * 3);
    unsigned group = 0;
    for (std::size_t i = 0; i < text.size() - padding; ++i) {
        const BYTE value = text[i] < 128 ? reverse[text[i]] : BYTE{0xFF};
        if (value == 0xFF)
            malformed();
        group = group << 6 | value;
        if (i % 4 != 0)
            bytes.push_back(static_cast<BYTE>(group >> (6 - 2 * (i % 4))));
    }
    // The bits that no byte takes must be zero, else several texts would mean the same bytes.
    if ((padding == 1 && (group & 0x3) != 0) || (padding == 2 && (group & 0xF) != 0))
        malformed();
    return bytes;
}

std::optional<CSignedText> SplitSignedText(ScriptKind kind, std::wstring_view text) {
    const std::wstring_view prefix = PrefixOf(kind);
    const std::size_t start = FindBlockLine(text, prefix);
    if (start == std::wstring_view::npos)
        return std::nullopt;

    const std::size_t firstEnd = text.find(L'\n', start);
    const bool carriageReturns = firstEnd != std::wstring_view::npos && text[firstEnd - 1] == L'\r';
    const std::wstring_view lineBreak = carriageReturns ? L"\r\n" : L"\n";
    CBlockLines lines(text.substr(start), prefix, lineBreak);
    if (lines.Next() != BeginLine)
        throw CRefusal(L"the signature block has lost its beginning");
    const std::wstring base64 = ReadBase64Lines(lines);
    if (FindBlockLine(lines.Rest(), prefix) != std::wstring_view::npos)
        throw CRefusal(L"there is more than one signature block");
    if (!lines.Rest().empty())
        throw CRefusal(L"there is text after the signature block");

    const std::wstring_view before = text.substr(0, start);
    if (!before.ends_with(lineBreak))
        throw CRefusal(L"the line break in front of the signature block is missing or was changed");
    return CSignedText{before.substr(0, before.size() - lineBreak.size()), DecodeBase64(base64)};
}

std::wstring FormatSignatureBlock(ScriptKind kind, CBytesView signature) {
    const std::wstring prefix(PrefixOf(kind));
    const std::wstring base64 = EncodeBase64(signature);
    std::wstring block = L"\r\n" + prefix + std::wstring(BeginLine) + L"\r\n";
    for (std::size_t at = 0; at < base64.size(); at += LineLength)
        block += prefix + base64.substr(at, LineLength) + L"\r\n";
    return block + prefix + std::wstring(EndLine) + L"\r\n";
}
