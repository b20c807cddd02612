#include "ScriptExecution/InfoFileValue.h"

#include <algorithm>
#include <cwchar>
#include <optional>
#include <string_view>

namespace {
constexpr unsigned MaxField = 512;           // what printf implementations promise to produce for one conversion
constexpr unsigned MaxIntegerPrecision = 20; // Wine's runtime overruns its buffer from 23 digits on

/// Reads one conversion from behind its '%' and prints it.
class CDirective {
public:
    explicit CDirective(std::wstring_view text) : m_text(text) {}

    /// Characters of the value that belong to the conversion, the '%' not counted.
    std::size_t GetLength() const { return m_position; }

    std::wstring Print() {
        std::wstring format = L"%";
        while (!AtEnd() && IsOneOf(L"-+ 0#")) {
            if (format.find(Current()) == std::wstring::npos)
                format += Current();
            ++m_position;
        }
        if (const unsigned width = ReadField())
            format += std::to_wstring(width);
        std::optional<unsigned> precision;
        if (!AtEnd() && Current() == L'.') {
            ++m_position;
            precision = ReadField();
        }
        const std::wstring_view size = ReadSize();
        if (AtEnd())
            return {};
        const wchar_t conversion = m_text[m_position++];
        if (precision) {
            const bool integer = std::wstring_view(L"diouxX").find(conversion) != std::wstring_view::npos;
            format += L'.' + std::to_wstring(std::min(*precision, integer ? MaxIntegerPrecision : MaxField));
        }
        return PrintConversion(format.append(size), conversion);
    }

private:
    bool AtEnd() const { return m_position == m_text.size(); }
    wchar_t Current() const { return m_text[m_position]; }
    bool IsOneOf(std::wstring_view set) const { return set.find(Current()) != std::wstring_view::npos; }

    /// A width or precision; '*' takes it from an argument, which is zero.
    unsigned ReadField() {
        if (!AtEnd() && Current() == L'*') {
            ++m_position;
            return 0;
        }
        unsigned field = 0;
        for (; !AtEnd() && Current() >= L'0' && Current() <= L'9'; ++m_position)
            field = std::min(field * 10 + static_cast<unsigned>(Current() - L'0'), MaxField);
        return field;
    }

    std::wstring_view ReadSize() {
        for (const std::wstring_view size : {L"I64", L"I32", L"I", L"ll", L"l", L"h", L"L", L"w"})
            if (m_text.substr(m_position).starts_with(size)) {
                m_position += size.size();
                return size;
            }
        return {};
    }

    static std::wstring PrintConversion(std::wstring format, wchar_t conversion) {
        wchar_t buffer[2 * MaxField];
        int length = -1;
        switch (conversion) {
        case L'd':
        case L'i':
        case L'o':
        case L'u':
        case L'x':
        case L'X':
        case L'c':
        case L'C':
            length = _snwprintf(buffer, std::size(buffer), (format + conversion).c_str(), 0LL);
            break;
        case L'e':
        case L'E':
        case L'f':
        case L'g':
        case L'G':
        case L'a':
        case L'A':
            length = _snwprintf(buffer, std::size(buffer), (format + conversion).c_str(), 0.0);
            break;
        case L'Z': // a counted string; a null one prints like any other null string
            conversion = L's';
            [[fallthrough]];
        case L's':
        case L'S':
        case L'p':
            length = _snwprintf(buffer, std::size(buffer), (format + conversion).c_str(), static_cast<void*>(nullptr));
            break;
        case L'n':
            break;
        default:
            return std::wstring(1, conversion);
        }
        std::wstring printed(buffer, static_cast<std::size_t>(std::max(length, 0)));
        // The zero of a "%c" would end the document for every XML parser.
        std::erase(printed, L'\0');
        return printed;
    }

    std::wstring_view m_text;
    std::size_t m_position = 0;
};
} // namespace

std::wstring FormatInfoFileValue(const std::wstring& value) {
    const std::wstring_view format(value.c_str()); // a format ends at its first zero
    if (format.find(L'%') == std::wstring_view::npos)
        return std::wstring(format);
    std::wstring result;
    for (std::size_t i = 0; i < format.size();) {
        const std::size_t percent = std::min(format.find(L'%', i), format.size());
        result += format.substr(i, percent - i);
        if (percent == format.size())
            break;
        CDirective directive(format.substr(percent + 1));
        result += directive.Print();
        i = percent + 1 + directive.GetLength();
    }
    return result;
}
