#include "IntlHelper/format/PrintfDirective.h"

#include "IntlHelper/format/FloatText.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

namespace {
constexpr std::size_t LargestField = std::numeric_limits<int>::max(); // larger ones count as this

/// Text that grows no longer than one directive may print.
class CBoundedText {
public:
    void Append(std::wstring_view text) { m_text += text.substr(0, GetRoom()); }
    void Fill(std::size_t count, wchar_t character) { m_text.append(std::min(count, GetRoom()), character); }
    std::wstring Take() { return std::move(m_text); }

private:
    std::size_t GetRoom() const { return CPrintfDirective::LongestPrint - m_text.size(); }

    std::wstring m_text;
};

/// The digits of a number, made from the last one to the first.
class CDigits {
public:
    CDigits(std::uint64_t magnitude, unsigned base, bool isUpper) {
        const wchar_t* const digits = isUpper ? L"0123456789ABCDEF" : L"0123456789abcdef";
        for (; magnitude != 0; magnitude /= base)
            *--m_begin = digits[magnitude % base];
    }

    /// Empty for zero.
    std::wstring_view Get() const {
        return {m_begin, static_cast<std::size_t>(m_digits + std::size(m_digits) - m_begin)};
    }

private:
    wchar_t m_digits[22]; // of 64 bits in base 8
    wchar_t* m_begin = m_digits + std::size(m_digits);
};
} // namespace

CPrintfDirective::CPrintfDirective(std::wstring_view text) {
    const auto next = [&] { return m_length < text.size() ? text[m_length] : L'\0'; };
    for (bool isFlag = true; isFlag;) {
        switch (next()) {
        case L'-':
            m_left = true;
            break;
        case L'+':
            m_plus = true;
            break;
        case L' ':
            m_blank = true;
            break;
        case L'0':
            m_zeros = true;
            break;
        case L'#':
            m_alternate = true;
            break;
        default:
            isFlag = false;
        }
        m_length += isFlag;
    }
    m_width = ReadField(text);
    if (next() == L'.') {
        ++m_length;
        m_precision = ReadField(text);
    }
    m_size = ReadSize(text);
    if (m_length < text.size())
        m_conversion = text[m_length++];
}

/// A width or a precision; none is zero.
std::size_t CPrintfDirective::ReadField(std::wstring_view text) {
    if (text.substr(m_length).starts_with(L'*')) {
        ++m_length;
        m_takesFields = true;
        return 0;
    }
    std::size_t field = 0;
    for (; m_length < text.size() && text[m_length] >= L'0' && text[m_length] <= L'9'; ++m_length)
        field = std::min(field * 10 + static_cast<std::size_t>(text[m_length] - L'0'), LargestField);
    return field;
}

/// Prefixes may follow each other, as the runtime has it.
std::wstring_view CPrintfDirective::ReadSize(std::wstring_view text) {
    const std::size_t begin = m_length;
    for (bool found = true; found;) {
        found = false;
        for (const std::wstring_view size : {L"I64", L"I32", L"I", L"h", L"l", L"L", L"w", L"z", L"t", L"j"})
            if (text.substr(m_length).starts_with(size)) {
                m_length += size.size();
                found = true;
                break;
            }
    }
    return text.substr(begin, m_length - begin);
}

std::wstring CPrintfDirective::PrintInteger(std::uint64_t bits) const {
    const bool isSigned = m_conversion == L'd' || m_conversion == L'i';
    const bool isNegative = isSigned && static_cast<std::int64_t>(bits) < 0;
    const std::uint64_t magnitude = isNegative ? 0 - bits : bits;
    const bool isHex = m_conversion == L'x' || m_conversion == L'X';
    const bool isOctal = m_conversion == L'o';
    const CDigits digits(magnitude, isHex ? 16 : (isOctal ? 8 : 10), m_conversion == L'X');
    const std::size_t count = digits.Get().size();
    // Without a precision there is one digit; with a precision of zero, zero has none.
    std::size_t atLeast = m_precision.value_or(1);
    if (isOctal && m_alternate)
        atLeast = std::max(atLeast, count + 1);
    std::wstring prefix;
    if (isSigned)
        prefix = SignOf(isNegative);
    else if (isHex && m_alternate && magnitude != 0)
        prefix.append(1, L'0').append(1, m_conversion);
    // A precision says how many zeros there are.
    return PrintField(prefix, std::max(atLeast, count) - count, digits.Get(), m_zeros && !m_precision);
}

CPrintfDirective::Kind CPrintfDirective::GetKind() const noexcept {
    switch (m_conversion) {
    case L'd':
    case L'i':
    case L'o':
    case L'u':
    case L'x':
    case L'X':
        return Kind::Integer;
    case L'e':
    case L'E':
    case L'f':
    case L'g':
    case L'G':
        return Kind::Float;
    case L'p':
        return Kind::Pointer;
    case L'c':
    case L'C':
        return Kind::Character;
    case L's':
    case L'S':
        return Kind::String;
    default:
        return Kind::Other;
    }
}

std::wstring CPrintfDirective::PrintFloat(double value) const {
    std::optional<std::size_t> precision = m_precision;
    if (precision)
        precision = std::min(*precision, LongestFloatPrecision);
    const std::wstring text = PrintFloatDigits(value, precision, m_alternate, m_conversion);
    const bool isNegative = text.starts_with(L'-');
    return PrintField(SignOf(isNegative), 0, std::wstring_view(text).substr(isNegative), m_zeros);
}

std::wstring CPrintfDirective::PrintPointer(const void* value) const {
    const auto address = reinterpret_cast<std::uintptr_t>(value);
    const CDigits digits(address, 16, true);
    // All its digits, whatever the precision says.
    return PrintField(m_alternate && address != 0 ? L"0X" : L"", 2 * sizeof value - digits.Get().size(), digits.Get(),
                      false);
}

std::wstring CPrintfDirective::PrintString(std::wstring_view text) const {
    return PrintField({}, 0, text.substr(0, m_precision.value_or(text.size())), m_zeros);
}

std::wstring CPrintfDirective::PrintCharacter(wchar_t character) const {
    return PrintField({}, 0, {&character, 1}, m_zeros);
}

std::wstring CPrintfDirective::SignOf(bool isNegative) const {
    if (isNegative)
        return L"-";
    return m_plus ? L"+" : (m_blank ? L" " : L"");
}

std::wstring CPrintfDirective::PrintField(std::wstring_view prefix, std::size_t zeros, std::wstring_view body,
                                          bool fillsZeros) const {
    const std::size_t length = prefix.size() + zeros + body.size();
    const std::size_t padding = m_width - std::min(length, m_width);
    CBoundedText text;
    if (!m_left && !fillsZeros)
        text.Fill(padding, L' ');
    text.Append(prefix);
    if (!m_left && fillsZeros)
        text.Fill(padding, L'0');
    text.Fill(zeros, L'0');
    text.Append(body);
    if (m_left)
        text.Fill(padding, L' ');
    return text.Take();
}
