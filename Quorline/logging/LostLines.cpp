#include "logging/LostLines.h"

#include <atomic>

namespace {
std::atomic<unsigned long long> g_lost{0};
std::atomic<bool> g_torn{false};
} // namespace

void CountLostLine() noexcept {
    g_torn = true;
    ++g_lost;
}

unsigned long long TakeLostLines() noexcept {
    // A log that loses nothing is the usual case and shall not write to shared memory.
    return g_lost == 0 ? 0 : g_lost.exchange(0);
}

void GiveBackLostLines(unsigned long long count) noexcept {
    g_lost += count;
}

bool TakeTornLine() noexcept {
    return g_torn && g_torn.exchange(false);
}
