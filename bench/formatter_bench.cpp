// What numbered inserts cost: a message of the library against the runtime's own print call with the same arguments in
// the same order. bare_ns and message_ns are the mean times of one of each, ratio is message over bare. Both are
// measured in turn in the same loop.

#include "IntlHelper/format/StringFormatter.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <string>

namespace {
using CClock = std::chrono::steady_clock;
constexpr int Batch = 64; // one reading of the clock for so many messages

double Since(CClock::time_point start) {
    return std::chrono::duration<double, std::nano>(CClock::now() - start).count();
}

template <class... Args>
void Compare(benchmark::State& state, const wchar_t* format, const wchar_t* runtimeFormat, Args... args) {
    CStringFormatter& formatter = GlobalFormatter();
    double bare = 0;
    double message = 0;
    for ([[maybe_unused]] auto iteration : state) {
        const auto start = CClock::now();
        for (int i = 0; i < Batch; ++i) {
            wchar_t buffer[4096];
            const int length = _snwprintf_s(buffer, std::size(buffer), _TRUNCATE, runtimeFormat, args...);
            benchmark::DoNotOptimize(std::wstring(buffer, static_cast<std::size_t>(length)));
        }
        bare += Since(start);
        const auto middle = CClock::now();
        for (int i = 0; i < Batch; ++i)
            benchmark::DoNotOptimize(formatter.FormatNoThrow(format, args...));
        message += Since(middle);
    }
    const auto count = static_cast<double>(state.iterations()) * Batch;
    state.counters["bare_ns"] = bare / count;
    state.counters["message_ns"] = message / count;
    state.counters["ratio"] = message / bare;
}

void OneString(benchmark::State& state) {
    Compare(state, L"Running script '{0:%s}'", L"Running script '%s'", L"notepad-save.vbs");
}

void ErrorLine(benchmark::State& state) {
    Compare(state, L"Scripting error: Source = {0:%s}, Description = {1:%s}, Line = {2:%lu}, Char = {3:%ld}",
            L"Scripting error: Source = %s, Description = %s, Line = %lu, Char = %ld",
            L"Microsoft VBScript runtime error", L"Object required", 12UL, 4L);
}

void Numbers(benchmark::State& state) {
    Compare(state, L"{0:%04d}-{1:%02d}-{2:%02d}_{3:%02d}.{4:%02d}.{5:%02d}", L"%04d-%02d-%02d_%02d.%02d.%02d", 2024, 5,
            17, 18, 30, 15);
}

BENCHMARK(OneString);
BENCHMARK(ErrorLine);
BENCHMARK(Numbers);
} // namespace

BENCHMARK_MAIN();
