#include "ScriptExecution/InfoFileValue.h"

#include "IntlHelper/format/PrintfDirective.h"

#include <algorithm>
#include <string_view>

namespace {
constexpr std::size_t LongestPrint = 65'536; // of all directives together: no path and no title is longer

/// The directive with a zero or null for its argument, whose conversion no message's insert knows.
std::wstring PrintZeroOfOther(const CPrintfDirective& directive) {
    switch (directive.GetConversion()) {
    case L'a':
    case L'A':
        return directive.PrintFloat(0);
    case L'Z': // a counted string; a null one prints like any other null string
        return directive.PrintString(L"(null)");
    case L'n':
    case L'\0': // the value ends before the conversion
        return {};
    default:
        return std::wstring(1, directive.GetConversion());
    }
}

/// The directive with a zero or null for its argument.
std::wstring PrintZero(const CPrintfDirective& directive) {
    using enum CPrintfDirective::Kind;
    switch (directive.GetKind()) {
    case Integer:
        return directive.PrintInteger(0);
    case Float:
        return directive.PrintFloat(0);
    case Character: {
        std::wstring printed = directive.PrintCharacter(L'\0');
        // The zero would end the document for every XML parser.
        std::erase(printed, L'\0');
        return printed;
    }
    case String:
        return directive.PrintString(L"(null)");
    case Pointer:
        return directive.PrintPointer(nullptr);
    default:
        return PrintZeroOfOther(directive);
    }
}
} // namespace

std::wstring FormatInfoFileValue(const std::wstring& value) {
    const std::wstring_view format(value.c_str()); // a format ends at its first zero
    std::wstring result;
    std::size_t room = LongestPrint;
    for (std::size_t i = 0; i < format.size();) {
        const std::size_t percent = std::min(format.find(L'%', i), format.size());
        result += format.substr(i, percent - i);
        if (percent == format.size())
            break;
        const CPrintfDirective directive(format.substr(percent + 1));
        const std::wstring printed = PrintZero(directive).substr(0, room);
        room -= printed.size();
        result += printed;
        i = percent + 1 + directive.GetLength();
    }
    return result;
}
