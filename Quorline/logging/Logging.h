#pragma once

// The logging frame. A class that logs declares
//
//     static log4cxx::LoggerPtr SDGetLogger();
//     static void Log(log4cxx::LevelPtr level, std::wstring format, ...);
//     static void Log(log4cxx::LevelPtr level, const wchar_t* format, ...); // for a literal, of which it makes no copy
//
// and defines them with QUORLINE_CLASS_LOG (ClassLog.h). Formats are the formatter's ("{0:%s}"); a bad format shows raw
// in the log. Any thread may log. Nothing is written below the logger's level. The calling thread's last error is left
// as it was.
//
// Nothing is thrown from here, whatever log4cxx does: a line that cannot be written is dropped and counted
// (LostLines.h), and the next one that can be written comes after a WARN line with the number of those that are
// missing. When the process ends nothing is written any more, since log4cxx may wait for threads that are gone.

#include "base/SharedLock.h"

#include <log4cxx/level.h>
#include <log4cxx/logger.h>

#include <atomic>
#include <cstdarg>
#include <string>
#include <string_view>

/// A class's logger. Looked for when it is first needed, and remembered: the search costs more than a line that nobody
/// wants. Any thread; there before anything logs, since it has no constructor to run.
class CClassLogger {
public:
    constexpr explicit CClassLogger(const wchar_t* name) noexcept : m_name(name) {}
    CClassLogger(const CClassLogger&) = delete;
    CClassLogger& operator=(const CClassLogger&) = delete;

    /// As GetClassLogger.
    const log4cxx::LoggerPtr& Get() noexcept;

    /// The logger of the name, configured or not.
    const log4cxx::LoggerPtr& Find() noexcept;

private:
    const wchar_t* m_name;
    std::atomic<bool> m_isFound{false};
    CSharedLock m_lock;
    log4cxx::LoggerPtr m_logger;
};

/// The logger of this name once logging is configured, "LogHelp.EventLogger" before. Null, to which nothing is written,
/// when log4cxx has none to give.
log4cxx::LoggerPtr GetClassLogger(const wchar_t* name) noexcept;

/// "LogHelp.EventLogger", by which an unconfigured process still reports to the event log.
log4cxx::LoggerPtr GetFallbackLogger() noexcept;

/// "TalvinorGlobal" once logging is configured, "LogHelp.EventLogger" before.
log4cxx::LoggerPtr GetGlobalLogger() noexcept;

void LogGlobal(log4cxx::LevelPtr level, std::wstring format, ...) noexcept;
void LogGlobal(log4cxx::LevelPtr level, const wchar_t* format, ...) noexcept;

/// The empty name selects the root logger.
void LogToNamedLogger(const std::wstring& loggerName, log4cxx::LevelPtr level, std::wstring format, ...) noexcept;
void LogToNamedLoggerV(const std::wstring& loggerName, const log4cxx::LevelPtr& level, std::wstring_view format,
                       va_list args) noexcept;

void LogToLoggerV(const log4cxx::LoggerPtr& logger, const log4cxx::LevelPtr& level, std::wstring_view format,
                  va_list args) noexcept;
/// For a literal, whose length matters only when it is written.
void LogToLoggerV(const log4cxx::LoggerPtr& logger, const log4cxx::LevelPtr& level, const wchar_t* format,
                  va_list args) noexcept;

/// Whether a line would be written; for those who have something to do before it. A changed settings file counts, as it
/// does for a line.
bool WouldLog(const log4cxx::LoggerPtr& logger, const log4cxx::LevelPtr& level) noexcept;

/// Writes a finished text, without looking for inserts in it.
void LogTextToLogger(const log4cxx::LoggerPtr& logger, const log4cxx::LevelPtr& level,
                     const std::wstring& text) noexcept;

/// The level of a number from the registry or a script: 0 ERROR, 1 WARN, 2 INFO, 3 DEBUG, anything else WARN.
log4cxx::LevelPtr LevelFromNumber(unsigned long number);

/// The system's text for a Win32 error or HRESULT without trailing white space; "No Error Text Available" if none.
std::wstring GetSystemErrorText(unsigned long code);
