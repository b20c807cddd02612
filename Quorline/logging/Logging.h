#pragma once

// The logging frame. A class that logs declares
//
//     static log4cxx::LoggerPtr SDGetLogger();
//     static void Log(log4cxx::LevelPtr level, std::wstring format, ...);
//
// and defines them with QUORLINE_CLASS_LOG (ClassLog.h). Formats are the formatter's ("{0:%s}"); a bad format shows raw
// in the log. Any thread may log. Nothing is written below the logger's level. The calling thread's last error is left
// as it was.
//
// Nothing is thrown from here, whatever log4cxx does: a line that cannot be written is dropped and counted
// (LostLines.h), and the next one that can be written comes after a WARN line with the number of those that are
// missing. When the process ends nothing is written any more, since log4cxx may wait for threads that are gone.

#include <windows.h>

#include <log4cxx/level.h>
#include <log4cxx/logger.h>

#include <cstdarg>
#include <string>
#include <string_view>

/// The logger of this name once logging is configured, "LogHelp.EventLogger" before. Null, to which nothing is written,
/// when log4cxx has none to give.
log4cxx::LoggerPtr GetClassLogger(const wchar_t* name) noexcept;

/// "LogHelp.EventLogger", by which an unconfigured process still reports to the event log.
log4cxx::LoggerPtr GetFallbackLogger() noexcept;

/// "TalvinorGlobal" once logging is configured, "LogHelp.EventLogger" before.
log4cxx::LoggerPtr GetGlobalLogger() noexcept;

void LogGlobal(log4cxx::LevelPtr level, std::wstring format, ...) noexcept;

/// The empty name selects the root logger.
void LogToNamedLogger(const std::wstring& loggerName, log4cxx::LevelPtr level, std::wstring format, ...) noexcept;
void LogToNamedLoggerV(const std::wstring& loggerName, const log4cxx::LevelPtr& level, const std::wstring& format,
                       va_list args) noexcept;

void LogToLoggerV(const log4cxx::LoggerPtr& logger, const log4cxx::LevelPtr& level, const std::wstring& format,
                  va_list args) noexcept;

/// Writes a finished text, without looking for inserts in it.
void LogTextToLogger(const log4cxx::LoggerPtr& logger, const log4cxx::LevelPtr& level,
                     const std::wstring& text) noexcept;

/// The level of a number from the registry or a script: 0 ERROR, 1 WARN, 2 INFO, 3 DEBUG, anything else WARN.
log4cxx::LevelPtr LevelFromNumber(unsigned long number);

/// The system's text for a Win32 error or HRESULT without trailing white space; "No Error Text Available" if none.
std::wstring GetSystemErrorText(unsigned long code);
