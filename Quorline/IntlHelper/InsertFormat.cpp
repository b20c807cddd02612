#include "IntlHelper/InsertFormat.h"

#include "IntlHelper/GuardedString.h"
#include "logging/Exceptions.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <limits>
#include <string_view>

namespace {
constexpr std::size_t BufferLength = 4096;
constexpr long BadFormat = 8;
constexpr long UnreadableString = 11;
constexpr int MaxRuntimePrecision = 20; // Wine's runtime overruns its buffer from 23 digits of an integer on

[[noreturn]] void ThrowInvalidFormat() {
    throw CIntlHelperException(L"Invalid insert format", BadFormat);
}

/// The one printf directive of a specification, in its parts.
struct Directive {
    std::wstring before;    ///< literal text in front, still with doubled percent signs
    std::wstring flags;     ///< "-+ 0#"
    std::wstring width;     ///< digits
    std::wstring precision; ///< with its full stop
    std::wstring prefix;    ///< size prefix as written
    wchar_t conversion = 0; ///< 0 when the specification has no directive at all
    std::wstring after;     ///< literal text behind

    std::wstring Print(const std::wstring& usedPrecision, const wchar_t* usedPrefix) const {
        return before + L'%' + flags + width + usedPrecision + usedPrefix + conversion + after;
    }
    std::wstring AsWritten() const { return Print(precision, prefix.c_str()); }
};

std::wstring TakeWhileIn(const std::wstring& text, std::size_t& position, const wchar_t* set) {
    const std::size_t begin = position;
    position = std::min(text.find_first_not_of(set, begin), text.size());
    return text.substr(begin, position - begin);
}

/// Literal text up to the next directive; a doubled percent sign belongs to it.
std::wstring TakeLiteral(const std::wstring& text, std::size_t& position) {
    const std::size_t begin = position;
    for (; position < text.size(); ++position) {
        if (text[position] != L'%')
            continue;
        if (position + 1 == text.size() || text[position + 1] != L'%')
            break;
        ++position;
    }
    return text.substr(begin, position - begin);
}

std::wstring TakePrefix(const std::wstring& text, std::size_t& position) {
    for (const std::wstring_view prefix :
         {L"I64", L"I32", L"I", L"hh", L"h", L"ll", L"l", L"L", L"w", L"z", L"t", L"j"})
        if (text.compare(position, prefix.size(), prefix) == 0) {
            position += prefix.size();
            return std::wstring(prefix);
        }
    return {};
}

/// One argument feeds one directive: a second one, or a "*", would read what nobody passed.
Directive ParseSpecification(const std::wstring& text) {
    constexpr const wchar_t* Digits = L"0123456789";
    Directive result;
    std::size_t position = 0;
    result.before = TakeLiteral(text, position);
    if (position == text.size())
        return result;
    ++position;
    result.flags = TakeWhileIn(text, position, L"-+ 0#");
    result.width = TakeWhileIn(text, position, Digits);
    if (position < text.size() && text[position] == L'.') {
        ++position;
        result.precision = L'.' + TakeWhileIn(text, position, Digits);
    }
    result.prefix = TakePrefix(text, position);
    if (position == text.size())
        ThrowInvalidFormat();
    result.conversion = text[position++];
    result.after = TakeLiteral(text, position);
    if (position != text.size())
        ThrowInvalidFormat();
    return result;
}

template <class Argument> std::wstring PrintArgument(const std::wstring& format, Argument argument) {
    wchar_t buffer[BufferLength];
    buffer[0] = L'\0';
    const int length = _snwprintf_s(buffer, BufferLength, _TRUNCATE, format.c_str(), argument);
    return length < 0 ? std::wstring(buffer) : std::wstring(buffer, static_cast<std::size_t>(length));
}

/// Like PrintArgument, through the compiler's own library, which prints an integer of any precision.
std::wstring PrintLongInteger(const std::wstring& format, long long value) {
    wchar_t buffer[BufferLength];
    buffer[0] = L'\0';
    __mingw_snwprintf(buffer, BufferLength, format.c_str(), value);
    buffer[BufferLength - 1] = L'\0';
    return buffer;
}

/// The size prefix that decides what is read; every other one counts as none.
enum class Size { None, Short, Long, Quad };

Size GetSize(const Directive& directive) {
    if (directive.prefix == L"I64")
        return Size::Quad;
    if (directive.prefix.ends_with(L'h'))
        return Size::Short;
    // "ll" ends in "l": 32 bits.
    return directive.prefix.ends_with(L'l') ? Size::Long : Size::None;
}

std::wstring FormatInteger(const Directive& directive, bool isSigned, va_list& args) {
    const auto slot = va_arg(args, std::uint64_t);
    long long value = 0;
    switch (GetSize(directive)) {
    case Size::Quad:
        value = static_cast<long long>(slot);
        break;
    case Size::Short:
        value = static_cast<std::int16_t>(slot);
        break;
    default:
        // Printed with "ll" or "I" the runtime takes 64 bits: they have to be those of the 32-bit value.
        value = isSigned ? static_cast<long long>(static_cast<std::int32_t>(slot))
                         : static_cast<long long>(static_cast<std::uint32_t>(slot));
    }
    const bool isShort = directive.prefix.starts_with(L'h');
    const bool isQuad = directive.prefix == L"I64" || directive.prefix == L"ll" || directive.prefix == L"I";
    if (!directive.precision.empty() && _wtoi(directive.precision.c_str() + 1) > MaxRuntimePrecision)
        return PrintLongInteger(directive.Print(directive.precision, isShort ? L"h" : (isQuad ? L"I64" : L"")), value);
    return PrintArgument(directive.AsWritten(), value);
}

std::wstring FormatCharacter(const Directive& directive, va_list& args) {
    if (GetSize(directive) != Size::None)
        throw CIntlHelperException(L"Size specifiers not supported with c, C, s or S", BadFormat);
    const auto slot = va_arg(args, std::uint64_t);
    if (directive.conversion == L'c')
        return PrintArgument(directive.AsWritten(), static_cast<int>(static_cast<std::uint16_t>(slot)));
    return PrintArgument(directive.AsWritten(), static_cast<int>(static_cast<signed char>(slot)));
}

[[noreturn]] void ThrowUnreadableString(wchar_t conversion, int number) {
    wchar_t message[160];
    _snwprintf_s(message, std::size(message), _TRUNCATE,
                 conversion == L's' ? L"Access violation while formatting '%%s' argument %d. This could mean the "
                                      L"argument is not a TCHAR*"
                                    : L"Access violation while formatting '%%S' argument %d. This could mean the "
                                      L"argument is not a TCHAR*",
                 number);
    throw CIntlHelperException(message, UnreadableString);
}

/// The runtime reads wide or narrow text by conversion and prefix together.
bool ReadsWideText(const Directive& directive) {
    if (directive.prefix.starts_with(L'h'))
        return false;
    return directive.conversion == L's' || directive.prefix.starts_with(L'l') || directive.prefix == L"w";
}

std::wstring FormatString(const Directive& directive, int number, va_list& args) {
    const void* text = va_arg(args, const void*);
    if (text) {
        const std::size_t limit = directive.precision.empty()
                                      ? std::numeric_limits<std::size_t>::max()
                                      : std::wcstoul(directive.precision.c_str() + 1, nullptr, 10);
        const std::ptrdiff_t length = ReadsWideText(directive) ? GuardedLength(static_cast<const wchar_t*>(text), limit)
                                                               : GuardedLength(static_cast<const char*>(text), limit);
        if (length < 0)
            ThrowUnreadableString(directive.conversion, number);
    }
    return PrintArgument(directive.AsWritten(), text);
}

/// "%s" and nothing else is what nearly every insert of a message says.
std::wstring CopyString(int number, const wchar_t* text) {
    if (!text)
        return L"(null)";
    const std::ptrdiff_t length = GuardedLength(text, std::numeric_limits<std::size_t>::max());
    if (length < 0)
        ThrowUnreadableString(L's', number);
    return {text, std::min(static_cast<std::size_t>(length), BufferLength - 1)};
}

/// A specification without a directive prints as it is, if it ends like one; its argument is passed over.
std::wstring FormatLiteral(const std::wstring& specification, va_list& args) {
    if (std::wstring_view(L"dioxXueEfgGpcCsS").find(specification.back()) == std::wstring_view::npos)
        ThrowInvalidFormat();
    return PrintArgument(specification, va_arg(args, std::uint64_t));
}
} // namespace

std::wstring FormatInsert(const std::wstring& specification, int number, va_list& args) {
    if (specification == L"%s")
        return CopyString(number, va_arg(args, const wchar_t*));
    if (specification.empty())
        ThrowInvalidFormat();
    const Directive directive = ParseSpecification(specification);
    switch (directive.conversion) {
    case 0:
        return FormatLiteral(specification, args);
    case L'd':
    case L'i':
        return FormatInteger(directive, true, args);
    case L'o':
    case L'u':
    case L'x':
    case L'X':
        return FormatInteger(directive, false, args);
    case L'e':
    case L'E':
    case L'f':
    case L'g':
    case L'G':
        return PrintArgument(directive.AsWritten(), va_arg(args, double));
    case L'p':
        return PrintArgument(directive.AsWritten(), va_arg(args, void*));
    case L'c':
    case L'C':
        return FormatCharacter(directive, args);
    case L's':
    case L'S':
        return FormatString(directive, number, args);
    default:
        ThrowInvalidFormat();
    }
}
