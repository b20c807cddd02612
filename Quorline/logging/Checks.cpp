#include "logging/Checks.h"

#include "base/LocaleText.h"
#include "IntlHelper/format/StringFormatter.h"
#include "logging/Logging.h"
#include "logging/LostLines.h"

#include <cstring>
#include <iterator>

namespace {
using logging_detail::FailureKind;

/// Writes one ERROR line. Texts of the system, locations and call names are joined as they are, never parsed. A line
/// for which there is no memory is lost; what the check throws does not change.
template <class Compose> void LogError(const Compose& compose) noexcept {
    try {
        LogTextToLogger(GetGlobalLogger(), log4cxx::Level::getError(), compose());
    } catch (...) {
        CountLostLine();
    }
}

std::wstring FailureText(FailureKind kind, const CCodeLocation& location, unsigned long code,
                         const std::wstring& message) {
    const std::wstring place = WidenText(location.Text());
    switch (kind) {
    case FailureKind::Win32:
        return message + L". \"" + GetSystemErrorText(code) + L"\" (" + std::to_wstring(code) + L"); Called from " +
               place;
    case FailureKind::HResult: {
        wchar_t number[16];
        _snwprintf(number, std::size(number), L"%#x", static_cast<unsigned>(code));
        return std::wstring(L"Failure HRESULT=") + number + L"; \"" + message + L"\"; at " + place;
    }
    default:
        return L"Failed sanity test \"" + message + L"\"; tested at " + place;
    }
}

std::string CallText(const CCodeLocation& location, const char* callName, const std::string& reason, int code) {
    return std::string("Call to ") + callName + " failed with \"" + reason + "\" (" + std::to_string(code) +
           "); Called from " + location.Text();
}
} // namespace

namespace logging_detail {
void LogFailure(FailureKind kind, const CCodeLocation& location, unsigned long code, const wchar_t* format,
                ...) noexcept {
    va_list args;
    va_start(args, format);
    LogError([&] { return FailureText(kind, location, code, FormatMessageText(format, args)); });
    va_end(args);
}

void LogFailure(FailureKind kind, const CCodeLocation& location, unsigned long code, const char* format, ...) noexcept {
    va_list args;
    va_start(args, format);
    LogError([&] { return FailureText(kind, location, code, FormatMessageText(WidenText(format), args)); });
    va_end(args);
}
} // namespace logging_detail

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
