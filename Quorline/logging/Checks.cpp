#include "logging/Checks.h"

#include "base/LocaleText.h"
#include "IntlHelper/format/StringFormatter.h"
#include "logging/Logging.h"
#include "logging/LostLines.h"

#include <cstring>

namespace {
/// Writes one ERROR line. Texts of the system, locations and call names are joined as they are, never parsed. A line
/// for which there is no memory is lost; what the check throws does not change.
template <class Compose> void LogError(const Compose& compose) noexcept {
    try {
        LogTextToLogger(GetGlobalLogger(), log4cxx::Level::getError(), compose());
    } catch (...) {
        CountLostLine();
    }
}

std::wstring FormatMessageText(const wchar_t* format, va_list args) {
    return GlobalFormatter().FormatVNoThrow(format, args);
}

std::wstring FormatMessageText(const char* format, va_list args) {
    return GlobalFormatter().FormatVNoThrow(WidenText(format), args);
}

std::wstring Win32Text(const CCodeLocation& location, DWORD error, const std::wstring& message) {
    return message + L". \"" + GetSystemErrorText(error) + L"\" (" + std::to_wstring(error) + L"); Called from " +
           WidenText(location.Text());
}

std::wstring HResultText(const CCodeLocation& location, HRESULT hr, const std::wstring& message) {
    wchar_t code[16];
    _snwprintf(code, sizeof(code) / sizeof(*code), L"%#x", static_cast<unsigned>(hr));
    return std::wstring(L"Failure HRESULT=") + code + L"; \"" + message + L"\"; at " + WidenText(location.Text());
}

std::wstring SanityText(const CCodeLocation& location, const std::wstring& message) {
    return L"Failed sanity test \"" + message + L"\"; tested at " + WidenText(location.Text());
}

std::string CallText(const CCodeLocation& location, const char* callName, const std::string& reason, int code) {
    return std::string("Call to ") + callName + " failed with \"" + reason + "\" (" + std::to_string(code) +
           "); Called from " + location.Text();
}
} // namespace

void CheckWin32Error(const CCodeLocation& location, DWORD error, const wchar_t* format, ...) {
    if (error == ERROR_SUCCESS)
        return;
    va_list args;
    va_start(args, format);
    LogError([&] { return Win32Text(location, error, FormatMessageText(format, args)); });
    va_end(args);
    throw COSException(error);
}

void CheckWin32Error(const CCodeLocation& location, DWORD error, const char* format, ...) {
    if (error == ERROR_SUCCESS)
        return;
    va_list args;
    va_start(args, format);
    LogError([&] { return Win32Text(location, error, FormatMessageText(format, args)); });
    va_end(args);
    throw COSException(error);
}

void LogWin32Error(const CCodeLocation& location, DWORD error, const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    LogError([&] { return Win32Text(location, error, FormatMessageText(format, args)); });
    va_end(args);
}

void LogWin32Error(const CCodeLocation& location, DWORD error, const char* format, ...) {
    va_list args;
    va_start(args, format);
    LogError([&] { return Win32Text(location, error, FormatMessageText(format, args)); });
    va_end(args);
}

void CheckHResult(const CCodeLocation& location, HRESULT hr, const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    LogError([&] { return HResultText(location, hr, FormatMessageText(format, args)); });
    va_end(args);
    throw COSException(static_cast<unsigned long>(hr));
}

void CheckHResult(const CCodeLocation& location, HRESULT hr, const char* format, ...) {
    va_list args;
    va_start(args, format);
    LogError([&] { return HResultText(location, hr, FormatMessageText(format, args)); });
    va_end(args);
    throw COSException(static_cast<unsigned long>(hr));
}

void LogHResultFailure(const CCodeLocation& location, HRESULT hr, const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    LogError([&] { return HResultText(location, hr, FormatMessageText(format, args)); });
    va_end(args);
}

void LogHResultFailure(const CCodeLocation& location, HRESULT hr, const char* format, ...) {
    va_list args;
    va_start(args, format);
    LogError([&] { return HResultText(location, hr, FormatMessageText(format, args)); });
    va_end(args);
}

void CheckCrtError(const CCodeLocation& location, const char* callName, int errnoValue) {
    char reason[260] = {};
    strerror_s(reason, sizeof(reason), errnoValue);
    LogError([&] { return WidenText(CallText(location, callName, reason, errnoValue)); });
    throw COSException(static_cast<unsigned long>(errnoValue));
}

void LogApiCallFailure(const CCodeLocation& location, DWORD error, const char* callName) {
    if (error == ERROR_SUCCESS)
        return;
    LogError([&] {
        const std::string reason = NarrowText(GetSystemErrorText(error));
        return WidenText(CallText(location, callName, reason, static_cast<int>(error)));
    });
}

void SanityCheckFailed(const CCodeLocation& location, const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    LogError([&] { return SanityText(location, FormatMessageText(format, args)); });
    va_end(args);
    throw CMorvaneException();
}

void SanityCheckFailed(const CCodeLocation& location, const char* format, ...) {
    va_list args;
    va_start(args, format);
    LogError([&] { return SanityText(location, FormatMessageText(format, args)); });
    va_end(args);
    throw CMorvaneException();
}
