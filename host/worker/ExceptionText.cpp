#include "ExceptionText.h"

#include <windows.h>

#include <array>
#include <iterator>

namespace {
struct CExceptionName {
    unsigned long code;
    const wchar_t* name;
};

constexpr std::array Names{
    CExceptionName{0x80000003, L"a breakpoint"},
    CExceptionName{0xC0000005, L"an access violation"},
    CExceptionName{0xC0000006, L"a page that could not be read"},
    CExceptionName{0xC0000017, L"a lack of memory"},
    CExceptionName{0xC000001D, L"an illegal instruction"},
    CExceptionName{0xC0000094, L"an integer division by zero"},
    CExceptionName{0xC0000095, L"an integer overflow"},
    CExceptionName{0xC0000096, L"a privileged instruction"},
    CExceptionName{0xC00000FD, L"a stack overflow"},
    CExceptionName{0xC000013A, L"Ctrl+C"},
    CExceptionName{0xC0000374, L"a damaged heap"},
    CExceptionName{0xC0000409, L"a fatal error that the program found in itself"},
    CExceptionName{0xC0000420, L"a failed assertion"},
    CExceptionName{0x20474343, L"a C++ exception that nobody caught"},
    CExceptionName{0xE06D7363, L"a C++ exception that nobody caught"},
};

/// Warnings and errors of the system's own.
constexpr unsigned long FirstException = 0x80000000;
} // namespace

std::wstring DescribeProcessEnd(unsigned long exitCode) {
    wchar_t number[32];
    _snwprintf_s(number, std::size(number), _TRUNCATE, L"exception 0x%08lX", exitCode);
    for (const auto& [code, name] : Names)
        if (code == exitCode)
            return std::wstring(name) + L" (" + number + L")";
    return exitCode >= FirstException ? std::wstring(L"an ") + number : L"the exit code " + std::to_wstring(exitCode);
}
