#pragma once

// What the logging frame has to know of the log configuration, without needing it: whether logging has been configured
// in this process, who looks after its settings file, and whether the log file can be written. Any thread.

bool IsLoggingConfigured() noexcept;
void SetLoggingConfigured(bool configured) noexcept;

/// Called before a line is logged, but at most once in so many milliseconds; null for nobody. A thread that watched the
/// file instead would have to be joined when the library is unloaded, which the loader's lock forbids.
using LogSettingsCheck = void (*)() noexcept;
void SetLogSettingsCheck(LogSettingsCheck check, unsigned long intervalMilliseconds) noexcept;

/// What the logging frame calls.
void CheckLogSettings() noexcept;

/// False while log4cxx has no open log file: it then drops lines without a word. True when there is to be none.
bool IsLogFileOpen() noexcept;
void SetLogFileOpen(bool open) noexcept;

/// Called after a line was logged while the log file was not open. True when it was only being rolled over and has the
/// line; false when the line is lost. The log file is opened again meanwhile, where that is possible now.
using LogFileRestore = bool (*)() noexcept;
void SetLogFileRestore(LogFileRestore restore) noexcept;

/// What the logging frame calls.
bool RestoreLogFile() noexcept;
