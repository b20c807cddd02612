// BusyHost log4cxx|library|runner: a host that returns from main while other threads are logging. It ends, if it ends
// at all, with exit code 0 (2 for a wrong argument).
//
//   log4cxx   threads that write to log4cxx directly
//   library   threads that write through the library
//   runner    a runner that deletes itself, whose listener's end lets main return

#include "base/UniqueHandle.h"
#include "ScriptExecution/AsyncRunner.h"
#include "ScriptExecution/Script.h"

#include <log4cxx/logger.h>

#include <atomic>
#include <string_view>
#include <thread>

namespace {
constexpr int Threads = 8;
constexpr int LinesBefore = 20; // that every thread has written when main returns

/// Returns once every thread has begun; the threads go on for ever.
template <class Line> void LogOnThreads(Line line) {
    static std::atomic<int> written{0};
    for (int i = 0; i < Threads; ++i)
        std::thread([line] {
            for (;;) {
                line();
                ++written;
            }
        }).detach();
    while (written < Threads * LinesBefore)
        SwitchToThread();
}

class CNothing : public IAsyncOp {
public:
    long Run() override { return 0; }
    long OnComplete() override { return 0; }
};

/// main goes on when the runner has deleted this, with the rest of the runner's end still to come.
class CLetMainReturn : public IAsyncRunnerListener {
public:
    explicit CLetMainReturn(HANDLE event) : m_event(event) {}
    ~CLetMainReturn() override { SetEvent(m_event); }
    void OnFinished() override {}

private:
    HANDLE m_event;
};

void RunToTheListenersEnd() {
    const CUniqueHandle over(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    CNothing operation;
    auto* runner = new CAsyncRunner(true);
    runner->AttachListener(new CLetMainReturn(over.Get()));
    runner->Start(&operation);
    WaitForSingleObject(over.Get(), INFINITE);
}
} // namespace

int main(int count, char** arguments) {
    const std::string_view mode = count > 1 ? arguments[1] : "";
    if (mode == "log4cxx")
        LogOnThreads([] { LOG4CXX_DEBUG(log4cxx::Logger::getLogger("Host.Busy"), "a line of the host's own"); });
    else if (mode == "library")
        LogOnThreads([] { CScript().LoadTextFromFile(L"C:\\no such file"); });
    else if (mode == "runner")
        RunToTheListenersEnd();
    else
        return 2;
    return 0;
}
