#include "logging/Logging.h"

#include "base/SystemMessage.h"
#include "IntlHelper/format/StringFormatter.h"
#include "logging/LogState.h"
#include "logging/LostLines.h"
#include "logging/ProcessEnd.h"

#include <log4cxx/spi/location/locationinfo.h>

#include <cstdlib>
#include <cwctype>
#include <mutex>
#include <utility>

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

/// Whatever comes out of log4cxx or of the memory: null, or false, for a name or a line that cannot be had.
log4cxx::LoggerPtr FindLogger(const std::wstring& name) noexcept {
    if (IsProcessEnding())
        return nullptr;
    const CLastErrorKeeper keeper;
    try {
        return name.empty() ? log4cxx::Logger::getRootLogger() : log4cxx::Logger::getLogger(name);
    } catch (...) {
        return nullptr;
    }
}

log4cxx::LoggerPtr FindLogger(const wchar_t* name) noexcept {
    try {
        return FindLogger(std::wstring(name));
    } catch (...) {
        return nullptr;
    }
}

constinit CClassLogger g_fallbackLogger(L"LogHelp.EventLogger");
constinit CClassLogger g_globalLogger(L"TalvinorGlobal");

/// What log4cxx's own macros ask first: of the levels that it has itself a logger knows the lowest that anybody wants.
bool MayBeEnabled(const log4cxx::LoggerPtr& logger, const log4cxx::LevelPtr& level) {
    switch (level->toInt()) {
    case log4cxx::Level::DEBUG_INT:
        return log4cxx::Logger::isDebugEnabledFor(logger);
    case log4cxx::Level::INFO_INT:
        return log4cxx::Logger::isInfoEnabledFor(logger);
    case log4cxx::Level::WARN_INT:
        return log4cxx::Logger::isWarnEnabledFor(logger);
    default:
        return true;
    }
}

bool IsEnabled(const log4cxx::LoggerPtr& logger, const log4cxx::LevelPtr& level) noexcept {
    try {
        if (!logger || !MayBeEnabled(logger, level))
            return false; // most lines: nothing was called that could change the thread's last error
        const CLastErrorKeeper keeper;
        return logger->isEnabledFor(level);
    } catch (...) {
        return false;
    }
}

bool Write(const log4cxx::LoggerPtr& logger, const log4cxx::LevelPtr& level, const std::wstring& text) noexcept {
    try {
        logger->forcedLog(level, text, log4cxx::spi::LocationInfo::getLocationUnavailable());
        return IsLogFileOpen() || RestoreLogFile();
    } catch (...) {
        // A full disk, no memory, somebody else's appender: nothing of it is worth what the caller is about.
        return false;
    }
}

/// Tells of the lines that are missing, before the next one that may be written.
void ReportLostLines() noexcept {
    if (!IsLogFileOpen())
        return;
    const unsigned long long lost = TakeLostLines();
    if (lost == 0)
        return;
    bool reported = false;
    try {
        const log4cxx::LoggerPtr logger = GetGlobalLogger();
        reported = IsEnabled(logger, log4cxx::Level::getWarn()) &&
                   Write(logger, log4cxx::Level::getWarn(),
                         std::to_wstring(lost) + L" log lines could not be written and are lost");
    } catch (...) {
        // Told with a later line.
    }
    if (!reported)
        GiveBackLostLines(lost);
}

/// Compose gives the text; it is called for a line that is to be written.
template <class Compose>
void LogComposed(const log4cxx::LoggerPtr& logger, const log4cxx::LevelPtr& level, const Compose& compose) noexcept {
    if (!WouldLog(logger, level))
        return;
    const CLastErrorKeeper keeper;
    ReportLostLines();
    try {
        if (Write(logger, level, compose()))
            return;
    } catch (...) {
        // No memory for the text.
    }
    CountLostLine();
}
} // namespace

log4cxx::LoggerPtr GetClassLogger(const wchar_t* name) noexcept {
    return IsLoggingConfigured() ? FindLogger(name) : GetFallbackLogger();
}

log4cxx::LoggerPtr GetFallbackLogger() noexcept {
    return g_fallbackLogger.Find();
}

log4cxx::LoggerPtr GetGlobalLogger() noexcept {
    return g_globalLogger.Get();
}

const log4cxx::LoggerPtr& CClassLogger::Get() noexcept {
    return IsLoggingConfigured() ? Find() : g_fallbackLogger.Find();
}

const log4cxx::LoggerPtr& CClassLogger::Find() noexcept {
    static constinit const log4cxx::LoggerPtr none;
    if (m_isFound.load(std::memory_order_acquire))
        return m_logger;
    // Looked for outside of the lock: log4cxx has locks of its own, and the first to come back is taken.
    log4cxx::LoggerPtr found = FindLogger(m_name);
    if (!found)
        return none; // for this time
    const std::lock_guard lock(m_lock);
    if (!m_isFound.load(std::memory_order_relaxed)) {
        m_logger = std::move(found);
        m_isFound.store(true, std::memory_order_release);
    }
    return m_logger;
}

bool WouldLog(const log4cxx::LoggerPtr& logger, const log4cxx::LevelPtr& level) noexcept {
    if (IsProcessEnding())
        return false;
    CheckLogSettings();
    return IsEnabled(logger, level);
}

void LogTextToLogger(const log4cxx::LoggerPtr& logger, const log4cxx::LevelPtr& level,
                     const std::wstring& text) noexcept {
    LogComposed(logger, level, [&]() -> const std::wstring& { return text; });
}

void LogToLoggerV(const log4cxx::LoggerPtr& logger, const log4cxx::LevelPtr& level, std::wstring_view format,
                  va_list args) noexcept {
    LogComposed(logger, level, [&] { return FormatMessageText(format, args); });
}

void LogToLoggerV(const log4cxx::LoggerPtr& logger, const log4cxx::LevelPtr& level, const wchar_t* format,
                  va_list args) noexcept {
    LogComposed(logger, level, [&] { return FormatMessageText(format, args); });
}

void LogGlobal(log4cxx::LevelPtr level, std::wstring format, ...) noexcept {
    va_list args;
    va_start(args, format);
    LogToLoggerV(g_globalLogger.Get(), level, format, args);
    va_end(args);
}

void LogGlobal(log4cxx::LevelPtr level, const wchar_t* format, ...) noexcept {
    va_list args;
    va_start(args, format);
    LogToLoggerV(g_globalLogger.Get(), level, format, args);
    va_end(args);
}

void LogToNamedLogger(const std::wstring& loggerName, log4cxx::LevelPtr level, std::wstring format, ...) noexcept {
    va_list args;
    va_start(args, format);
    LogToNamedLoggerV(loggerName, level, format, args);
    va_end(args);
}

void LogToNamedLoggerV(const std::wstring& loggerName, const log4cxx::LevelPtr& level, std::wstring_view format,
                       va_list args) noexcept {
    LogToLoggerV(FindLogger(loggerName), level, format, args);
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
    std::wstring text = GetSystemMessage(code);
    if (text.empty())
        return L"No Error Text Available";
    while (!text.empty() && std::iswspace(text.back()))
        text.pop_back();
    return text;
}
