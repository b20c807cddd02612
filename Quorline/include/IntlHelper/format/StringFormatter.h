#pragma once

// Formats messages with numbered inserts: Format(L"{1:%s} before {0:%d}", 5, L"x") gives "x before 5". An insert is a
// number and a complete printf conversion with Microsoft's meaning (%s is wide); arguments are taken in the order of
// the numbers. A backslash makes the next character literal. Stateless: any thread may use one formatter.

#include "base/Export.h"

#include <cstdarg>
#include <list>
#include <map>
#include <string>
#include <string_view>

// kept: no virtual destructor; formatters are static or embedded objects and never deleted through the base.
class QUORLINE_API CStringFormatter {
public:
    /// Throws CIntlHelperException on a bad format.
    virtual std::wstring Format(std::wstring format, ...);

    /// A bad format comes back as it is, followed by "***formatting error***".
    virtual std::wstring FormatNoThrow(std::wstring format, ...);

    virtual std::wstring FormatV(std::wstring format, va_list args);
    virtual std::wstring FormatVNoThrow(std::wstring format, va_list args);

protected:
    struct ParseRecord {
        std::list<std::wstring> segments;    ///< literal text: one piece before each insert, one after the last
        std::list<int> order;                ///< insert numbers as they appear
        std::map<int, std::wstring> inserts; ///< first the conversion, later the formatted argument
        int highest = -1;                    ///< highest insert number, -1 without any
    };

    virtual void ParseFormat(std::wstring format, ParseRecord& record);
    virtual void FormatInserts(va_list args, ParseRecord& record);
    virtual std::wstring BuildResult(const ParseRecord& record);
};

/// The one formatter that every message of the library goes through.
CStringFormatter& GlobalFormatter();

/// What its FormatVNoThrow makes, without a copy of the format.
std::wstring FormatMessageText(std::wstring_view format, va_list args);
