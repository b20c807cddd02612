// 100 patterns against 1,000 names, beside the system's own matcher.

#include "Contest.h"

#include "ScriptExecution/WildcardPattern.h"

#include <windows.h>
#include <shlwapi.h>

#include <string>
#include <vector>

namespace {
std::vector<std::wstring> Patterns() {
    std::vector<std::wstring> patterns;
    for (int i = 0; i < 25; ++i) {
        const std::wstring number = std::to_wstring(i * 37);
        patterns.push_back(L"EDITOR" + number + L".EXE");
        patterns.push_back(L"OFFICE" + number + L"*.EXE");
        patterns.push_back(L"*" + number + L" - NOTEPAD");
        patterns.push_back(L"*REPORT*" + number + L"*");
    }
    return patterns;
}

std::vector<std::wstring> Names() {
    std::vector<std::wstring> names;
    for (int i = 0; i < 250; ++i) {
        const std::wstring number = std::to_wstring(i);
        names.push_back(L"EDITOR" + number + L".EXE");
        names.push_back(L"OFFICE" + number + L"HELPER.EXE");
        names.push_back(L"LETTER TO ANA " + number + L" - NOTEPAD");
        names.push_back(L"THE REPORT OF THE YEAR, CHAPTER " + number + L" OF MANY");
    }
    return names;
}

void MatchPatterns(benchmark::State& state) {
    const auto patterns = Patterns();
    const auto names = Names();
    const auto matchAll = [&](auto match) {
        std::size_t matches = 0;
        for (const auto& name : names)
            for (const auto& pattern : patterns)
                matches += match(pattern, name);
        benchmark::DoNotOptimize(matches);
    };
    CContest(state, 0.3)
        .Run([&] { matchAll([](const auto& pattern, const auto& name) { return MatchesPattern(pattern, name); }); },
             [&] {
                 matchAll([](const auto& pattern, const auto& name) {
                     return PathMatchSpecW(name.c_str(), pattern.c_str()) != FALSE;
                 });
             });
}

BENCHMARK(MatchPatterns)->Name("100 patterns against 1,000 names|PathMatchSpecW")->Iterations(10);
} // namespace

BENCHMARK_MAIN();
