// What numbered inserts cost: a message of the library beside the runtime's own print call with the same arguments in
// the same order, and beside a library that takes its formats at run time as this one does.

#include "Contest.h"

#include "IntlHelper/format/StringFormatter.h"

#define FMT_HEADER_ONLY
#include <fmt/xchar.h>

#include <cstdio>
#include <string>

namespace {
constexpr int Batch = 200;

/// As the log and the checks have every message made.
std::wstring Message(const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    std::wstring text = FormatMessageText(format, args);
    va_end(args);
    return text;
}

template <class... Args> std::wstring PrintBare(const wchar_t* format, Args... args) {
    wchar_t buffer[4096];
    const int length = _snwprintf_s(buffer, std::size(buffer), _TRUNCATE, format, args...);
    return std::wstring(buffer, static_cast<std::size_t>(length));
}

template <class... Args>
void BesidePrint(benchmark::State& state, const wchar_t* format, const wchar_t* bare, Args... args) {
    CContest(state, 1.5, Batch)
        .Run([&] { benchmark::DoNotOptimize(Message(format, args...)); },
             [&] { benchmark::DoNotOptimize(PrintBare(bare, args...)); });
}

template <class... Args>
void BesideFmt(benchmark::State& state, const wchar_t* format, const wchar_t* theirs, Args... args) {
    CContest(state, 1.0, Batch)
        .Run([&] { benchmark::DoNotOptimize(Message(format, args...)); },
             [&] { benchmark::DoNotOptimize(fmt::format(fmt::runtime(fmt::wstring_view(theirs)), args...)); });
}

constexpr const wchar_t* OneInsert = L"Running script '{0:%s}'";
constexpr const wchar_t* FourInserts =
    L"Scripting error: Source = {0:%s}, Description = {1:%s}, Line = {2:%lu}, Char = {3:%ld}";
constexpr const wchar_t* Name = L"notepad-save.vbs";
constexpr const wchar_t* Source = L"Microsoft VBScript runtime error";
constexpr const wchar_t* Description = L"Object required";

void OneInsertBesidePrint(benchmark::State& state) {
    BesidePrint(state, OneInsert, L"Running script '%s'", Name);
}
void OneInsertBesideFmt(benchmark::State& state) {
    BesideFmt(state, OneInsert, L"Running script '{}'", Name);
}
void FourInsertsBesidePrint(benchmark::State& state) {
    BesidePrint(state, FourInserts, L"Scripting error: Source = %s, Description = %s, Line = %lu, Char = %ld", Source,
                Description, 12UL, 4L);
}
void FourInsertsBesideFmt(benchmark::State& state) {
    BesideFmt(state, FourInserts, L"Scripting error: Source = {}, Description = {}, Line = {}, Char = {}", Source,
              Description, 12UL, 4L);
}

BENCHMARK(OneInsertBesidePrint)->Name("a message with 1 insert|_snwprintf_s")->Iterations(60);
BENCHMARK(OneInsertBesideFmt)->Name("a message with 1 insert|{fmt} at run time")->Iterations(60);
BENCHMARK(FourInsertsBesidePrint)->Name("a message with 4 inserts|_snwprintf_s")->Iterations(60);
BENCHMARK(FourInsertsBesideFmt)->Name("a message with 4 inserts|{fmt} at run time")->Iterations(60);
} // namespace

BENCHMARK_MAIN();
