// Windows' calendar, for readers that turn dates into its times.

#include <windows.h>

#include <chrono>
#include <cstdint>

namespace {
using CTicks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
constexpr std::chrono::sys_days Epoch = std::chrono::year(1601) / 1 / 1;
} // namespace

extern "C" BOOL WINAPI SystemTimeToFileTime(const SYSTEMTIME* from, FILETIME* to) {
    const auto day = std::chrono::year(from->wYear) / from->wMonth / from->wDay;
    if (!day.ok() || from->wYear < 1601 || from->wHour > 23 || from->wMinute > 59 || from->wSecond > 59)
        return FALSE;
    const auto time = std::chrono::sys_days(day) - Epoch + std::chrono::hours(from->wHour) +
                      std::chrono::minutes(from->wMinute) + std::chrono::seconds(from->wSecond);
    const auto ticks = static_cast<std::uint64_t>(CTicks(time).count());
    to->dwLowDateTime = static_cast<DWORD>(ticks);
    to->dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    return TRUE;
}

extern "C" BOOL WINAPI FileTimeToSystemTime(const FILETIME* from, SYSTEMTIME* to) {
    const CTicks ticks(static_cast<std::int64_t>(std::uint64_t{from->dwHighDateTime} << 32 | from->dwLowDateTime));
    const auto days = std::chrono::floor<std::chrono::days>(ticks);
    const std::chrono::year_month_day day(Epoch + days);
    const std::chrono::hh_mm_ss time(std::chrono::floor<std::chrono::seconds>(ticks - days));
    *to = {};
    to->wYear = static_cast<WORD>(static_cast<int>(day.year()));
    to->wMonth = static_cast<WORD>(static_cast<unsigned>(day.month()));
    to->wDay = static_cast<WORD>(static_cast<unsigned>(day.day()));
    to->wHour = static_cast<WORD>(time.hours().count());
    to->wMinute = static_cast<WORD>(time.minutes().count());
    to->wSecond = static_cast<WORD>(time.seconds().count());
    return TRUE;
}
