#pragma once

// The appender of the log file, "TalvinorLogFile": how it is made, and how it gets the settings of the registry.

#include "logging/LogSettings.h"

#include <log4cxx/appender.h>

const log4cxx::LogString& GetLogFileAppenderName();

/// One without settings, for when the properties file defines none. Throws std::runtime_error.
log4cxx::AppenderPtr MakeLogFileAppender();

/// Gives name and limits to an appender, which may be of the properties file's own kind; values that log4cxx cannot
/// hold become the highest that it can.
void SetLogFileOptions(log4cxx::Appender& appender, const CLogFileSettings& settings);

/// Opens the file, again if need be. log4cxx reports on standard error what does not work, once, and throws nothing.
void OpenLogFile(log4cxx::Appender& appender);
