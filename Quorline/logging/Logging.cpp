#include "logging/Logging.h"

#include "Common/UniqueHandle.h"
#include "IntlHelper/StringFormatter.h"
#include "logging/LogState.h"

#include <log4cxx/spi/location/locationinfo.h>

#include <cstdlib>
#include <cwctype>

namespace {
/// log4cxx resets the thread's last error, which callers still want to read.
class CLastErrorKeeper {
public:
    CLastErrorKeeper() noexcept : m_error(GetLastError()) {}
    ~CLastErrorKeeper() { SetLastError(m_error); }
    CLastErrorKeeper(const CLastErrorKeeper&) = delete;
    CLastErrorKeeper& operator=(const CLastErrorKeeper&) = delete;

private:
    DWORD m_error;
};
} // namespace

log4cxx::LoggerPtr GetClassLogger(const wchar_t* name) {
    const CLastErrorKeeper keeper;
    return IsLoggingConfigured() ? log4cxx::Logger::getLogger(std::wstring(name)) : GetFallbackLogger();
}

log4cxx::LoggerPtr GetFallbackLogger() {
    const CLastErrorKeeper keeper;
    return log4cxx::Logger::getLogger(std::wstring(L"LogHelp.EventLogger"));
}

log4cxx::LoggerPtr GetGlobalLogger() {
    return GetClassLogger(L"TalvinorGlobal");
}

void LogTextToLogger(const log4cxx::LoggerPtr& logger, const log4cxx::LevelPtr& level, const std::wstring& text) {
    const CLastErrorKeeper keeper;
    CheckLogSettings();
    if (logger->isEnabledFor(level))
        logger->forcedLog(level, text, log4cxx::spi::LocationInfo::getLocationUnavailable());
}

void LogToLoggerV(const log4cxx::LoggerPtr& logger, const log4cxx::LevelPtr& level, const std::wstring& format,
                  va_list args) {
    const CLastErrorKeeper keeper;
    CheckLogSettings();
    if (logger->isEnabledFor(level))
        logger->forcedLog(level, GlobalFormatter().FormatVNoThrow(format, args),
                          log4cxx::spi::LocationInfo::getLocationUnavailable());
}

void LogGlobal(log4cxx::LevelPtr level, std::wstring format, ...) {
    va_list args;
    va_start(args, format);
    LogToLoggerV(GetGlobalLogger(), level, format, args);
    va_end(args);
}

void LogToNamedLogger(const std::wstring& loggerName, log4cxx::LevelPtr level, std::wstring format, ...) {
    va_list args;
    va_start(args, format);
    LogToNamedLoggerV(loggerName, level, format, args);
    va_end(args);
}

void LogToNamedLoggerV(const std::wstring& loggerName, const log4cxx::LevelPtr& level, const std::wstring& format,
                       va_list args) {
    const CLastErrorKeeper keeper;
    const auto logger = loggerName.empty() ? log4cxx::Logger::getRootLogger() : log4cxx::Logger::getLogger(loggerName);
    LogToLoggerV(logger, level, format, args);
}

log4cxx::LevelPtr LevelFromNumber(unsigned long number) {
    switch (number) {
    case 0:
        return log4cxx::Level::getError();
    case 2:
        return log4cxx::Level::getInfo();
    case 3:
        return log4cxx::Level::getDebug();
    default:
        return log4cxx::Level::getWarn();
    }
}

std::wstring GetSystemErrorText(unsigned long code) {
    const CLastErrorKeeper keeper;
    wchar_t* buffer = nullptr;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code,
        MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
    const CUniqueLocalMemory<wchar_t> owner(buffer);
    if (length == 0)
        return L"No Error Text Available";
    std::wstring text(buffer, length);
    while (!text.empty() && std::iswspace(text.back()))
        text.pop_back();
    return text;
}
