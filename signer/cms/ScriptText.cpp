#include "cms/ScriptText.h"

#include "common/FileBytes.h"
#include "common/SignerErrors.h"
#include "base/Text.h"
#include "base/Utf8.h"

#include <algorithm>
#include <cstring>
#include <optional>

ScriptKind ScriptKindOf(std::wstring_view name) {
    // A dot in a folder's name leads to nothing that is known either.
    const std::size_t dot = name.rfind(L'.');
    const std::wstring extension(dot == std::wstring_view::npos ? L"" : name.substr(dot));
    if (SameText(extension, L".vbs"))
        return ScriptKind::VBScript;
    if (SameText(extension, L".js"))
        return ScriptKind::JScript;
    throw CSignerError(E_INVALIDARG, L"only .vbs and .js scripts can be signed, not '" + std::wstring(name) + L"'");
}

bool HasMark(std::wstring_view text) noexcept {
    return text.starts_with(L'\xFEFF');
}

std::wstring_view WithoutMark(std::wstring_view text) noexcept {
    return HasMark(text) ? text.substr(1) : text;
}

namespace {
/// Nothing for bytes that are no UTF-8.
std::optional<std::wstring> Decode(CBytesView bytes) {
    return DecodeUtf8({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, BadUtf8::Refuse);
}
} // namespace

std::wstring FindEncodingTrouble(CBytesView bytes) {
    const auto begins = [&](std::initializer_list<BYTE> mark) {
        return bytes.size() >= mark.size() && std::equal(mark.begin(), mark.end(), bytes.begin());
    };
    if (begins({0xFF, 0xFE}) || begins({0xFE, 0xFF}))
        return L"it is saved as UTF-16; save it as UTF-8 without a byte-order mark";
    if (begins({0xEF, 0xBB, 0xBF}))
        return L"it begins with a byte-order mark; save it as UTF-8 without one";
    if (!Decode(bytes))
        return L"it is not UTF-8; save it as UTF-8 without a byte-order mark";
    return {};
}

CScriptFile::CScriptFile(const std::wstring& path)
    : m_bytes(ReadFileBytes(path)), m_utf16(m_bytes.size() >= 2 && m_bytes[0] == 0xFF && m_bytes[1] == 0xFE) {
    const auto refuse = [&](const wchar_t* why) {
        throw CSignerError(HRESULT_FROM_WIN32(ERROR_NO_UNICODE_TRANSLATION), L"'" + path + L"' " + why);
    };
    if (m_utf16) {
        if (m_bytes.size() % sizeof(wchar_t) != 0)
            refuse(L"begins as UTF-16 but ends within a character");
        m_text.resize(m_bytes.size() / sizeof(wchar_t));
        std::memcpy(m_text.data(), m_bytes.data(), m_bytes.size());
        return;
    }
    auto text = Decode(m_bytes);
    if (!text)
        refuse(L"is neither UTF-8 nor UTF-16LE with a byte-order mark; save it in one of these encodings");
    m_text = std::move(*text);
}

CBytes CScriptFile::Encode(std::wstring_view text) const {
    if (m_utf16) {
        const auto* const bytes = reinterpret_cast<const BYTE*>(text.data());
        return {bytes, bytes + text.size() * sizeof(wchar_t)};
    }
    const std::string bytes = ToUtf8(text);
    return {bytes.begin(), bytes.end()};
}

CBytes CScriptFile::Replace(std::size_t keptCharacters, std::wstring_view more) const {
    CBytes bytes = Encode(std::wstring_view(m_text).substr(0, keptCharacters));
    const CBytes tail = Encode(more);
    bytes.insert(bytes.end(), tail.begin(), tail.end());
    return bytes;
}
