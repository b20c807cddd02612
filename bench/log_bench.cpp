// What the logging frame costs beside the macros of log4cxx, with the log file as an installed library has it, and what
// a trace scope costs while nobody wants to see it.

#include "AllocationCount.h"
#include "BenchLog.h"
#include "Contest.h"

#include "logging/ClassLog.h"
#include "logging/TraceScope.h"

#include <log4cxx/ndc.h>

/// A class that logs, as the library's classes do.
class CLogged {
public:
    static void Log(log4cxx::LevelPtr level, std::wstring format, ...);
    static void Log(log4cxx::LevelPtr level, const wchar_t* format, ...);

private:
    static log4cxx::LoggerPtr SDGetLogger();
};
QUORLINE_CLASS_LOG(CLogged, L"Quorline.ScriptRunner")

namespace {
const log4cxx::LoggerPtr& Logger() {
    static const log4cxx::LoggerPtr logger = log4cxx::Logger::getLogger("Quorline.ScriptRunner");
    return logger;
}
const log4cxx::LoggerPtr& TraceLogger() {
    static const log4cxx::LoggerPtr logger = log4cxx::Logger::getLogger("Trace");
    return logger;
}

constexpr const wchar_t* Name = L"notepad-save.vbs";

void LogNothing() {
    CLogged::Log(log4cxx::Level::getDebug(), L"Running script '{0:%s}'", Name);
}

/// What a class would do that only asks on entry and on exit whether anybody wants to know.
class CAskingScope {
public:
    CAskingScope() { Ask(); }
    ~CAskingScope() { Ask(); }
    CAskingScope(const CAskingScope&) = delete;
    CAskingScope& operator=(const CAskingScope&) = delete;

private:
    static void Ask() { benchmark::DoNotOptimize(TraceLogger()->isEnabledFor(log4cxx::Level::getDebug())); }
};

void OpenScope() {
    const CTraceScope scope(L"Run");
}

/// The part of a trace scope that is log4cxx's: the thread's context knows the function, whatever the level.
void KeepContext() {
    const CAskingScope scope;
    static const std::wstring name = L"Run";
    benchmark::DoNotOptimize(log4cxx::NDC::getDepth());
    log4cxx::NDC::push(name);
    log4cxx::NDC::pop();
}

/// Blocks of memory for one; after the first, which makes what stays.
template <class Action> double AllocationsOf(Action action) {
    action();
    const CAllocationCount count;
    action();
    return static_cast<double>(count.Get());
}

void LogBelowTheLevel(benchmark::State& state) {
    const CBenchLog log;
    CContest(state, 1.5, 2000).Run(&LogNothing, [] { LOG4CXX_DEBUG(Logger(), L"Running script '" << Name << L"'"); });
    state.counters["allocations"] = AllocationsOf(&LogNothing);
    state.counters["allocation_goal"] = 0;
}

/// What a level costs that is handed over by value, as it has to be: log4cxx makes a counted reference of it.
void LogBelowTheLevelBesideLevel(benchmark::State& state) {
    const CBenchLog log;
    CContest(state, CContest::Proves, 2000).Run(&LogNothing, [] {
        const log4cxx::LevelPtr level = log4cxx::Level::getDebug();
        benchmark::DoNotOptimize(level);
        LOG4CXX_DEBUG(Logger(), L"Running script '" << Name << L"'");
    });
}

void LogALine(benchmark::State& state) {
    const CBenchLog log;
    CContest(state, 1.2)
        .Run([] { CLogged::Log(log4cxx::Level::getInfo(), L"Running script '{0:%s}'", Name); },
             [] { LOG4CXX_INFO(Logger(), L"Running script '" << Name << L"'"); });
}

void TraceUnseen(benchmark::State& state) {
    const CBenchLog log;
    CContest(state, 3, 500).Run(&OpenScope, [] { const CAskingScope scope; });
    state.counters["allocations"] = AllocationsOf(&OpenScope);
    state.counters["allocation_goal"] = 0;
}

void TraceUnseenBesideContext(benchmark::State& state) {
    const CBenchLog log;
    CContest(state, CContest::Proves, 500).Run(&OpenScope, &KeepContext);
    state.counters["allocations"] = AllocationsOf(&KeepContext);
}

BENCHMARK(LogBelowTheLevel)->Name("Log below the enabled level|LOG4CXX_DEBUG")->Iterations(60);
BENCHMARK(LogBelowTheLevelBesideLevel)
    ->Name("Log below the enabled level|the level made and dropped, and LOG4CXX_DEBUG")
    ->Iterations(60);
BENCHMARK(LogALine)->Name("Log of a line that is written|LOG4CXX_INFO")->Iterations(500);
BENCHMARK(TraceUnseen)->Name("trace scope, DEBUG off|a scope that asks isEnabledFor")->Iterations(60);
BENCHMARK(TraceUnseenBesideContext)
    ->Name("trace scope, DEBUG off|the same and log4cxx's NDC push and pop")
    ->Iterations(60);
} // namespace

BENCHMARK_MAIN();
