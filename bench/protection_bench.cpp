// What finding the protected applications costs over merely listing the machine's windows and processes.
//
// bare_us and search_us are the mean times of one list and one search, ratio is search over bare. Both are measured in
// turn, so that whatever else the machine does touches both alike.

#include "ScriptExecution/DocumentScript.h"

#include <benchmark/benchmark.h>

#include <psapi.h>

#include <array>
#include <chrono>

namespace {
using CClock = std::chrono::steady_clock;

double MicrosecondsSince(CClock::time_point start) {
    return std::chrono::duration<double, std::micro>(CClock::now() - start).count();
}

void ListWindowsAndProcesses() {
    int windows = 0;
    EnumWindows(
        [](HWND, LPARAM count) -> BOOL {
            ++*reinterpret_cast<int*>(count);
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&windows));
    std::array<DWORD, 1024> identifiers{};
    DWORD size = 0;
    EnumProcesses(identifiers.data(), sizeof(identifiers), &size);
    benchmark::DoNotOptimize(windows);
    benchmark::DoNotOptimize(size);
}

void SearchAgainstBareLists(benchmark::State& state) {
    CDocumentScript script;
    script.AddExe(L"no-such-program*.exe");
    script.AddWindowTitle(L"*no such title*");
    double bare = 0;
    double search = 0;
    ListWindowsAndProcesses();
    for ([[maybe_unused]] auto iteration : state) {
        auto start = CClock::now();
        ListWindowsAndProcesses();
        bare += MicrosecondsSince(start);
        start = CClock::now();
        benchmark::DoNotOptimize(script.GetProtectedProcIDs());
        search += MicrosecondsSince(start);
    }
    const auto iterations = static_cast<double>(state.iterations());
    state.counters["bare_us"] = bare / iterations;
    state.counters["search_us"] = search / iterations;
    state.counters["ratio"] = search / bare;
}
} // namespace

BENCHMARK(SearchAgainstBareLists)->Unit(benchmark::kMicrosecond);
BENCHMARK_MAIN();
