#pragma once

// Whether logging has been configured in this process. Stands below the log configuration, so that the logging frame
// can ask without needing it.

bool IsLoggingConfigured() noexcept;
void SetLoggingConfigured(bool configured) noexcept;
