// What finding the protected applications costs beside the calls that it is made of, on a machine with 200 more
// processes and 500 more windows; once for each of 20 applications.

#include "Applications.h"
#include "bare/BareSearch.h"
#include "Contest.h"

#include "ScriptExecution/DocumentScript.h"

#include <log4cxx/logger.h>

namespace {
constexpr int ApplicationCount = 20;

/// 200 processes, 500 windows.
class CBusyMachine {
public:
    explicit CBusyMachine(int64_t applications) { m_running.Start(200, static_cast<int>(applications), 100); }

private:
    CApplications m_running;
};

/// A round is the search for one of the applications, each with a list of its own.
void FindApplications(benchmark::State& state) {
    FixtureOf<CBusyMachine>(ApplicationCount);
    int next = 0;
    CContest(state, 1.1)
        .Run(
            [&] {
                CDocumentScript application;
                application.AddExe(CApplications::NameOf(next++ % ApplicationCount));
                application.AddWindowTitle(L"*no such title*");
                if (application.GetProtectedProcIDs().size() != 200 / ApplicationCount)
                    state.SkipWithError("not all of an application's processes were found");
            },
            [&] {
                CBareSearch search;
                if (search.Run().size() < 200 || search.WindowCount() < 500)
                    state.SkipWithError("the bare search found too little");
            });
}

BENCHMARK(FindApplications)
    ->Name("find each of 20 applications among 200 processes, 500 windows|the bare calls, for each")
    ->Iterations(ApplicationCount);
} // namespace

int main(int argc, char** argv) {
    log4cxx::Logger::getRootLogger()->setLevel(log4cxx::Level::getOff());
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
