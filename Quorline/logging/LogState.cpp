#include "logging/LogState.h"

#include <windows.h>

#include <atomic>

namespace {
std::atomic<bool> g_configured{false};
std::atomic<LogSettingsCheck> g_check{nullptr};
std::atomic<unsigned long> g_interval{0};
std::atomic<ULONGLONG> g_next{0};
std::atomic<bool> g_fileOpen{true};
std::atomic<LogFileRestore> g_restore{nullptr};
} // namespace

bool IsLoggingConfigured() noexcept {
    return g_configured;
}

void SetLoggingConfigured(bool configured) noexcept {
    g_configured = configured;
}

void SetLogSettingsCheck(LogSettingsCheck check, unsigned long intervalMilliseconds) noexcept {
    g_interval = intervalMilliseconds;
    g_next = GetTickCount64() + intervalMilliseconds;
    g_check = check;
}

void CheckLogSettings() noexcept {
    const LogSettingsCheck check = g_check;
    if (!check)
        return;
    const ULONGLONG now = GetTickCount64();
    ULONGLONG next = g_next;
    // Of threads that come at one time, one checks. It may log meanwhile, and is then not called again.
    if (now >= next && g_next.compare_exchange_strong(next, ~0ULL)) {
        const DWORD lastError = GetLastError();
        check();
        SetLastError(lastError);
        g_next = GetTickCount64() + g_interval;
    }
}

bool IsLogFileOpen() noexcept {
    return g_fileOpen;
}

void SetLogFileOpen(bool open) noexcept {
    g_fileOpen = open;
}

void SetLogFileRestore(LogFileRestore restore) noexcept {
    g_restore = restore;
}

bool RestoreLogFile() noexcept {
    const LogFileRestore restore = g_restore;
    return restore && restore();
}
