#pragma once

// Whether logging has been configured in this process, and who looks after its settings file. Stands below the log
// configuration, so that the logging frame can ask without needing it. Any thread.

bool IsLoggingConfigured() noexcept;
void SetLoggingConfigured(bool configured) noexcept;

/// Called before a line is logged, but at most once in so many milliseconds; null for nobody. A thread that watched the
/// file instead would have to be joined when the library is unloaded, which the loader's lock forbids.
using LogSettingsCheck = void (*)() noexcept;
void SetLogSettingsCheck(LogSettingsCheck check, unsigned long intervalMilliseconds) noexcept;

/// What the logging frame calls.
void CheckLogSettings() noexcept;
