#include "common/Clock.h"

FILETIME FromNow(std::chrono::minutes later) {
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    // Both count 100-ns ticks.
    using CTicks = std::chrono::duration<long long, std::ratio<1, 10'000'000>>;
    ULARGE_INTEGER time{{now.dwLowDateTime, now.dwHighDateTime}};
    time.QuadPart += static_cast<ULONGLONG>(CTicks(later).count());
    return {time.LowPart, time.HighPart};
}
