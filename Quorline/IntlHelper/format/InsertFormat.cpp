#include "IntlHelper/format/InsertFormat.h"

#include "base/LocaleText.h"
#include "IntlHelper/format/GuardedString.h"
#include "IntlHelper/format/PrintfDirective.h"
#include "base/Exceptions.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <limits>

namespace {
constexpr long BadFormat = 8;
constexpr long UnreadableString = 11;
constexpr std::wstring_view Conversions = L"dioxXueEfgGpcCsS";

[[noreturn]] void ThrowInvalidFormat() {
    throw CIntlHelperException(L"Invalid insert format", BadFormat);
}

/// The size prefix that decides what is read; every other one counts as none.
enum class Size { None, Short, Long, Quad };

Size SizeIn(std::wstring_view prefix) {
    if (prefix.ends_with(L"I64"))
        return Size::Quad;
    if (prefix.ends_with(L'h'))
        return Size::Short;
    // "ll" ends in "l": 32 bits.
    return prefix.ends_with(L'l') ? Size::Long : Size::None;
}

/// A character has one size only.
void RefuseSize(std::wstring_view prefix) {
    if (SizeIn(prefix) != Size::None)
        throw CIntlHelperException(L"Size specifiers not supported with c, C, s or S", BadFormat);
}

/// A specification without a directive prints as it is, if it ends like one; its argument is passed over.
void CheckLiteral(std::wstring_view specification) {
    if (specification.empty() || Conversions.find(specification.back()) == std::wstring_view::npos)
        ThrowInvalidFormat();
    // The first character stands for the directive's '%'; it is no prefix.
    if ((specification.back() == L'c' || specification.back() == L'C') && specification.size() > 2)
        RefuseSize(specification.substr(1, specification.size() - 2));
}

/// Copies literal text up to the next directive and steps behind its '%'; false at the end of the text.
bool CopyLiteral(std::wstring_view text, std::size_t& position, std::wstring& result) {
    while (position < text.size()) {
        const wchar_t c = text[position++];
        if (c == L'%' && !text.substr(position).starts_with(L'%'))
            return true;
        position += c == L'%';
        result += c;
    }
    return false;
}

std::wstring FormatInteger(const CPrintfDirective& directive, std::uint64_t slot) {
    const bool isSigned = directive.GetConversion() == L'd' || directive.GetConversion() == L'i';
    switch (SizeIn(directive.GetSize())) {
    case Size::Quad:
        return directive.PrintInteger(slot);
    case Size::Short:
        return directive.PrintInteger(isSigned ? static_cast<std::uint64_t>(static_cast<std::int16_t>(slot))
                                               : static_cast<std::uint16_t>(slot));
    default:
        return directive.PrintInteger(isSigned ? static_cast<std::uint64_t>(static_cast<std::int32_t>(slot))
                                               : static_cast<std::uint32_t>(slot));
    }
}

std::wstring FormatCharacter(const CPrintfDirective& directive, std::uint64_t slot) {
    RefuseSize(directive.GetSize());
    if (directive.GetConversion() == L'c')
        return directive.PrintCharacter(static_cast<wchar_t>(slot));
    const char narrow = static_cast<char>(slot);
    return directive.PrintCharacter(WidenText({&narrow, 1}).front());
}

[[noreturn]] void ThrowUnreadableString(wchar_t conversion, int number) {
    throw CIntlHelperException(std::wstring(L"Access violation while formatting '%") + conversion + L"' argument " +
                                   CPrintfDirective(L"d").PrintInteger(static_cast<std::uint64_t>(number)) +
                                   L". This could mean the argument is not a TCHAR*",
                               UnreadableString);
}

/// The text, no longer than the limit, which is as far as it is looked at.
template <class Character>
std::basic_string_view<Character> ReadString(std::uint64_t slot, std::size_t limit, wchar_t conversion, int number) {
    const auto* text = reinterpret_cast<const Character*>(static_cast<std::uintptr_t>(slot));
    const std::ptrdiff_t length = GuardedLength(text, limit);
    if (length < 0)
        ThrowUnreadableString(conversion, number);
    return {text, static_cast<std::size_t>(length)};
}

std::wstring FormatString(const CPrintfDirective& directive, int number, std::uint64_t slot) {
    if (slot == 0)
        return directive.PrintString(L"(null)");
    const wchar_t conversion = directive.GetConversion();
    const std::wstring_view size = directive.GetSize();
    const std::size_t limit = directive.GetPrecision().value_or(std::numeric_limits<std::size_t>::max());
    const bool isWide = conversion == L's' ? !size.ends_with(L'h') : size.ends_with(L'l') || size.ends_with(L'w');
    if (isWide)
        return directive.PrintString(ReadString<wchar_t>(slot, limit, conversion, number));
    return directive.PrintString(WidenText(ReadString<char>(slot, limit, conversion, number)));
}

std::wstring FormatDirective(const CPrintfDirective& directive, int number, std::uint64_t slot) {
    using enum CPrintfDirective::Kind;
    switch (directive.GetKind()) {
    case Integer:
        return FormatInteger(directive, slot);
    case Float:
        return directive.PrintFloat(std::bit_cast<double>(slot));
    case Pointer:
        return directive.PrintPointer(reinterpret_cast<const void*>(static_cast<std::uintptr_t>(slot)));
    case Character:
        return FormatCharacter(directive, slot);
    case String:
        return FormatString(directive, number, slot);
    default:
        ThrowInvalidFormat();
    }
}
} // namespace

std::wstring FormatInsert(std::wstring_view specification, int number, std::uint64_t slot) {
    // "%s" and nothing else is what nearly every insert of a message says.
    if (specification == L"%s" && slot != 0) {
        const auto text = ReadString<wchar_t>(slot, std::numeric_limits<std::size_t>::max(), L's', number);
        return std::wstring(text.substr(0, CPrintfDirective::LongestPrint));
    }
    std::wstring result;
    std::size_t position = 0;
    if (CopyLiteral(specification, position, result)) {
        const CPrintfDirective directive(specification.substr(position));
        // One argument feeds one directive: a second one, or a '*', would read what nobody passed.
        if (directive.TakesFields())
            ThrowInvalidFormat();
        result += FormatDirective(directive, number, slot);
        position += directive.GetLength();
        if (CopyLiteral(specification, position, result))
            ThrowInvalidFormat();
    } else {
        CheckLiteral(specification);
    }
    result.resize(std::min(result.size(), CPrintfDirective::LongestPrint));
    return result;
}
