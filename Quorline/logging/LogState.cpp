#include "logging/LogState.h"

#include <atomic>

namespace {
std::atomic<bool> g_configured{false};
}

bool IsLoggingConfigured() noexcept {
    return g_configured;
}

void SetLoggingConfigured(bool configured) noexcept {
    g_configured = configured;
}
