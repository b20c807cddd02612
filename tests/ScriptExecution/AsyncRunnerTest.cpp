// Proves the worker thread, its listeners and its handles: AsyncRunner.

#include "base/UniqueHandle.h"
#include "ComApartment.h"
#include "ImportHook.h"
#include "LogLines.h"
#include "ProcessUse.h"
#include "ScriptExecution/AsyncRunner.h"
#include "StartProcess.h"
#include "TempFolder.h"
#include "base/Exceptions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <functional>
#include <fstream>
#include <mutex>
#include <thread>

struct CAsyncRunnerPeer {
    /// As the worker's thread does; takes the parameter over.
    static DWORD RunThread(IAsyncOp* operation, CAsyncRunner* runner) {
        return CAsyncRunner::RunThread(
            std::make_unique<CAsyncRunner::CStartParameter>(CAsyncRunner::CStartParameter{operation, runner})
                .release());
    }
    static DWORD RunThreadWithoutParameter() { return CAsyncRunner::RunThread(nullptr); }
    static HANDLE& Started(CAsyncRunner& runner) { return runner.m_hThreadStarted; }
    static HANDLE& Finished(CAsyncRunner& runner) { return runner.m_hFinished; }
};

namespace {
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using Events = std::vector<std::string>;

/// The end of everything the worker does with a runner that does not delete itself. WaitForFinish returns earlier when
/// it comes while listeners are being told.
void AwaitEnd(CAsyncRunner& runner) {
    WaitForSingleObject(CAsyncRunnerPeer::Finished(runner), 20'000);
}

/// What happened, in order, on any thread.
class CDiary {
public:
    void Note(const std::string& event) {
        const std::lock_guard lock(m_guard);
        m_events.push_back(event);
    }
    Events Get() const {
        const std::lock_guard lock(m_guard);
        return m_events;
    }

private:
    mutable std::mutex m_guard;
    Events m_events;
};

class COperation : public IAsyncOp {
public:
    explicit COperation(std::function<void()> action) : m_action(std::move(action)) {}
    long Run() override {
        m_action();
        return E_FAIL; // nobody looks at it
    }
    long OnComplete() override { return S_OK; }

private:
    std::function<void()> m_action;
};

class CListener : public IAsyncRunnerListener {
public:
    CListener(CDiary& diary, std::string name, HANDLE deleted = nullptr)
        : m_diary(diary), m_name(std::move(name)), m_deleted(deleted) {}
    ~CListener() override {
        m_diary.Note("delete " + m_name);
        if (m_deleted)
            SetEvent(m_deleted);
    }
    void OnFinished() override { m_diary.Note("finished " + m_name); }

private:
    CDiary& m_diary;
    std::string m_name;
    HANDLE m_deleted;
};

constexpr DWORD Bound = 20'000;

CUniqueHandle MakeEvent() {
    return CUniqueHandle(CreateEventW(nullptr, TRUE, FALSE, nullptr));
}
HMODULE Self() {
    return GetModuleHandleW(nullptr);
}

HANDLE g_signalBeforeWaiting = nullptr;
DWORD WINAPI SignalThenWait(HANDLE handle, DWORD limit) {
    SetEvent(g_signalBeforeWaiting);
    return WaitForSingleObjectEx(handle, limit, FALSE);
}

class AsyncRunnerTest : public testing::Test {
protected:
    /// The text of the sanity failure that the action raises.
    template <class Action> std::wstring Refusal(Action action) {
        m_log.Clear();
        try {
            action();
        } catch (const CMorvaneException&) {
            return m_log.At(L"ERROR").at(0);
        }
        return L"accepted";
    }

    CDiary m_diary;
    CLogLines m_log;
};
} // namespace

TEST_F(AsyncRunnerTest, TheOperationRunsOnAThreadOfItsOwnInASingleThreadedApartment) {
    CAsyncRunner runner;
    const DWORD caller = GetCurrentThreadId();
    const CUniqueHandle go = MakeEvent();
    COperation operation([&] {
        WaitForSingleObject(go.Get(), Bound);
        m_diary.Note(GetCurrentThreadId() == caller ? "same thread" : "other thread");
        APTTYPE type{};
        APTTYPEQUALIFIER qualifier{};
        CoGetApartmentType(&type, &qualifier);
        m_diary.Note(type == APTTYPE_STA || type == APTTYPE_MAINSTA ? "single-threaded" : "other apartment");
    });
    runner.Start(&operation);
    SetEvent(go.Get());
    runner.WaitForFinish();
    EXPECT_THAT(m_diary.Get(), ElementsAre("other thread", "single-threaded"));
}

TEST_F(AsyncRunnerTest, ListenersHearOfTheEndInTheirOrderAndAreDeletedWithTheRunner) {
    {
        CAsyncRunner runner;
        const CUniqueHandle go = MakeEvent();
        for (const char* name : {"a", "b", "c"})
            runner.AttachListener(std::make_unique<CListener>(m_diary, name).release());
        runner.AttachListener(std::make_unique<CListener>(m_diary, "d").release());
        COperation operation([&] {
            WaitForSingleObject(go.Get(), Bound);
            m_diary.Note("run");
        });
        runner.Start(&operation);
        SetEvent(go.Get());
        AwaitEnd(runner);
        EXPECT_THAT(m_diary.Get(), ElementsAre("run", "finished a", "finished b", "finished c", "finished d"));
    }
    EXPECT_THAT(m_diary.Get(), ElementsAre("run", "finished a", "finished b", "finished c", "finished d", "delete a",
                                           "delete b", "delete c", "delete d"));
}

TEST_F(AsyncRunnerTest, ANullListenerIsKeptAndSkippedByTheDestructor) {
    CAsyncRunner runner;
    runner.AttachListener(nullptr);
    runner.AttachListener(std::make_unique<CListener>(m_diary, "a").release());
}

TEST_F(AsyncRunnerTest, ARunnerThatDeletesItselfDoesSoAfterEveryListenerWasTold) {
    const CUniqueHandle gone = MakeEvent();
    auto runner = std::make_unique<CAsyncRunner>();
    EXPECT_FALSE(runner->GetDeleteWhenFinished());
    runner->SetDeleteWhenFinished(true);
    EXPECT_TRUE(runner->GetDeleteWhenFinished());
    EXPECT_TRUE(CAsyncRunner(true).GetDeleteWhenFinished());
    runner->AttachListener(std::make_unique<CListener>(m_diary, "a").release());
    runner->AttachListener(std::make_unique<CListener>(m_diary, "b", gone.Get()).release());
    COperation operation([&] { m_diary.Note("run"); });
    CAsyncRunner* const own = runner.release();
    own->Start(&operation);
    ASSERT_EQ(WaitForSingleObject(gone.Get(), Bound), WAIT_OBJECT_0);
    EXPECT_THAT(m_diary.Get(), ElementsAre("run", "finished a", "finished b", "delete a", "delete b"));
}

TEST_F(AsyncRunnerTest, ACopyKeepsToItselfWhetherItDeletesItself) {
    CAsyncRunner original(true);
    CAsyncRunner copy(original);
    CAsyncRunner assigned;
    assigned = original;
    EXPECT_TRUE(copy.GetDeleteWhenFinished());
    EXPECT_TRUE(assigned.GetDeleteWhenFinished());
    original.SetDeleteWhenFinished(false);
    EXPECT_TRUE(copy.GetDeleteWhenFinished());
    EXPECT_TRUE(assigned.GetDeleteWhenFinished());
    copy.SetDeleteWhenFinished(false);
    original.SetDeleteWhenFinished(true);
    EXPECT_FALSE(copy.GetDeleteWhenFinished());
    EXPECT_TRUE(assigned.GetDeleteWhenFinished());
}

TEST_F(AsyncRunnerTest, WaitingReturnsAtOnceBeforeTheStartAndAfterTheEnd) {
    CAsyncRunner runner;
    runner.WaitForFinish();
    COperation operation([] {});
    runner.Start(&operation);
    runner.WaitForFinish();
    while (CAsyncRunnerPeer::Started(runner) != nullptr)
        SwitchToThread();
    runner.WaitForFinish();
    runner.WaitForFinish();
}

TEST_F(AsyncRunnerTest, WaitingLastsUntilTheListenersHaveBeenTold) {
    CAsyncRunner runner;
    runner.AttachListener(std::make_unique<CListener>(m_diary, "a").release());
    const CUniqueHandle waiting = MakeEvent();
    COperation operation([&] { WaitForSingleObjectEx(waiting.Get(), Bound, FALSE); });
    runner.Start(&operation);
    // While it waits, which it does only before this can signal the end by returning.
    const CImportHook hook(Self(), "WaitForSingleObject", &SignalThenWait);
    g_signalBeforeWaiting = waiting.Get();
    runner.WaitForFinish();
    EXPECT_THAT(m_diary.Get(), ElementsAre("finished a"));
}

TEST_F(AsyncRunnerTest, WithoutAnOperationNothingStarts) {
    CAsyncRunner runner;
    EXPECT_THAT(Refusal([&] { runner.Start(nullptr); }),
                StartsWith(L"TalvinorGlobal: Failed sanity test \"Null pOp argument passed to "
                           L"CScriptBackgroundRunner::StartRunScripts\"; tested at ScriptExecution/AsyncRunner.cpp"));
    EXPECT_EQ(CAsyncRunnerPeer::Started(runner), nullptr);
    EXPECT_EQ(CAsyncRunnerPeer::Finished(runner), nullptr);
}

TEST_F(AsyncRunnerTest, OneThatRunsCannotBeStartedAgainAndOneThatHasFinishedCan) {
    CAsyncRunner runner;
    const CUniqueHandle go = MakeEvent();
    int runs = 0;
    COperation operation([&] {
        WaitForSingleObject(go.Get(), Bound);
        ++runs;
    });
    runner.Start(&operation);
    EXPECT_THAT(Refusal([&] { runner.Start(&operation); }), HasSubstr(L"\"Thread already started.\""));
    SetEvent(go.Get());
    runner.WaitForFinish();
    runner.Start(&operation);
    runner.WaitForFinish();
    while (CAsyncRunnerPeer::Started(runner) != nullptr)
        SwitchToThread();
    EXPECT_EQ(runs, 2);
}

TEST_F(AsyncRunnerTest, StartIsTracedAndLogged) {
    CAsyncRunner runner;
    COperation operation([] {});
    runner.Start(&operation);
    runner.WaitForFinish();
    EXPECT_TRUE(m_log.Has(L"DEBUG Trace.CAsyncRunner: Entering -> [CAsyncRunner::Start]"));
    EXPECT_TRUE(m_log.Has(L"INFO TalvinorGlobal: Starting script execution"));
    EXPECT_TRUE(m_log.Has(L"DEBUG Trace.CAsyncRunner: Entering -> [CAsyncRunner::RunThread]"));
    EXPECT_TRUE(m_log.Has(L"DEBUG Trace.CAsyncRunner: Leaving  -> [CAsyncRunner::Start]"));
}

namespace {
int g_eventsUntilFailure = 0;
HANDLE WINAPI FailingCreateEvent(LPSECURITY_ATTRIBUTES, BOOL manual, BOOL signalled, LPCWSTR) {
    if (g_eventsUntilFailure-- > 0)
        return CreateEventExW(nullptr, nullptr, (manual ? 1u : 0u) | (signalled ? 2u : 0u), EVENT_ALL_ACCESS);
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}
HANDLE WINAPI FailingCreateThread(LPSECURITY_ATTRIBUTES, SIZE_T, LPTHREAD_START_ROUTINE, LPVOID, DWORD, LPDWORD) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}
std::vector<HANDLE> g_threads;
HANDLE WINAPI NotingCreateThread(LPSECURITY_ATTRIBUTES security, SIZE_T stack, LPTHREAD_START_ROUTINE start,
                                 LPVOID parameter, DWORD flags, LPDWORD id) {
    g_threads.push_back(CreateRemoteThread(GetCurrentProcess(), security, stack, start, parameter, flags, id));
    return g_threads.back();
}
/// Handles once the workers have ended, with all that they hold until then.
DWORD HandlesAfterTheWorkers() {
    for (const HANDLE thread : g_threads)
        EXPECT_EQ(WaitForSingleObject(thread, Bound), WAIT_OBJECT_0);
    return HandlesInUse();
}
WINBOOL WINAPI FailingDuplicateHandle(HANDLE, HANDLE, HANDLE, LPHANDLE, DWORD, WINBOOL, DWORD) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return FALSE;
}
DWORD g_waitResult = WAIT_OBJECT_0;
DWORD WINAPI FixedWait(HANDLE handle, DWORD limit) {
    WaitForSingleObjectEx(handle, limit, FALSE);
    SetLastError(87);
    return g_waitResult;
}
} // namespace

TEST_F(AsyncRunnerTest, SystemFailuresWhileStartingAreRaisedAndLeaveItIdle) {
    COperation operation([] {});
    for (const int events : {0, 1}) {
        CAsyncRunner runner;
        const CImportHook hook(Self(), "CreateEventW", &FailingCreateEvent);
        g_eventsUntilFailure = events;
        EXPECT_THAT(Refusal([&] { runner.Start(&operation); }), StartsWith(L"TalvinorGlobal: CreateEvent. \""));
        EXPECT_EQ(CAsyncRunnerPeer::Started(runner), nullptr);
    }
    CAsyncRunner runner;
    {
        const CImportHook hook(Self(), "CreateThread", &FailingCreateThread);
        EXPECT_THAT(Refusal([&] { runner.Start(&operation); }), StartsWith(L"TalvinorGlobal: CreateThread. \""));
    }
    EXPECT_EQ(CAsyncRunnerPeer::Started(runner), nullptr);
    runner.WaitForFinish();
}

TEST_F(AsyncRunnerTest, WithoutAHandleToWaitOnNoThreadIsMade) {
    COperation operation([&] { m_diary.Note("run"); });
    CAsyncRunner runner;
    Refusal([&] { runner.Start(nullptr); }); // a thread's first exception takes two handles of the runtime's
    g_threads.clear();
    const CImportHook noting(Self(), "CreateThread", &NotingCreateThread);
    const DWORD before = HandlesInUse();
    {
        const CImportHook failing(Self(), "DuplicateHandle", &FailingDuplicateHandle);
        EXPECT_THAT(Refusal([&] { runner.Start(&operation); }), StartsWith(L"TalvinorGlobal: DuplicateHandle. \""));
    }
    EXPECT_THAT(g_threads, IsEmpty());
    EXPECT_EQ(HandlesInUse(), before);
    EXPECT_EQ(CAsyncRunnerPeer::Started(runner), nullptr);
    runner.Start(&operation);
    AwaitEnd(runner);
    EXPECT_EQ(g_threads.size(), 1u);
    EXPECT_THAT(m_diary.Get(), ElementsAre("run"));
}

TEST_F(AsyncRunnerTest, EachRunLeavesTwoHandlesItsThreadAndItsFinishedEvent) {
    COperation operation([&] { m_diary.Note("run"); });
    CAsyncRunner runner;
    g_threads.clear();
    const CImportHook noting(Self(), "CreateThread", &NotingCreateThread);
    const auto run = [&] {
        runner.Start(&operation);
        AwaitEnd(runner);
    };
    run();
    const DWORD before = HandlesAfterTheWorkers();
    constexpr DWORD Runs = 50;
    for (DWORD i = 0; i < Runs; ++i)
        run();
    // Rounded: a lock that two threads happen to meet at takes one more, which it keeps, and the last thread of an
    // earlier test gives its own back when it ends.
    EXPECT_EQ((HandlesAfterTheWorkers() - before + Runs / 2) / Runs, 2u);
    EXPECT_EQ(m_diary.Get().size(), Runs + 1);
}

TEST_F(AsyncRunnerTest, AnOddEndOfTheWaitForTheWorkerIsLogged) {
    const struct {
        DWORD result;
        const wchar_t* line;
    } cases[] = {
        {WAIT_ABANDONED, L"TalvinorGlobal: Waiting for CAsyncRunner::m_hThreadStarted returned WAIT_ABANDONED"},
        {WAIT_FAILED, L"TalvinorGlobal: Waiting for CAsyncRunner::m_hThreadStarted returned WAIT_FAILED. Error code = "
                      L"87"},
    };
    for (const auto& c : cases) {
        m_log.Clear();
        CAsyncRunner runner;
        COperation operation([] {});
        g_waitResult = c.result;
        const CImportHook hook(Self(), "WaitForSingleObject", &FixedWait);
        runner.Start(&operation);
        runner.WaitForFinish();
        EXPECT_THAT(m_log.At(L"ERROR"), ElementsAre(c.line));
    }
}

TEST_F(AsyncRunnerTest, AWorkerThatIsStartedWrongSaysSo) {
    EXPECT_THAT(Refusal([] { CAsyncRunnerPeer::RunThreadWithoutParameter(); }),
                HasSubstr(L"\"Null lParam passed to CAsyncRunner::RunThread\""));
    COperation operation([] {});
    EXPECT_THAT(Refusal([&] { CAsyncRunnerPeer::RunThread(&operation, nullptr); }), HasSubstr(L"\"pRunner is null\""));
    CoUninitialize(); // the worker's, whose process would have ended
    CAsyncRunner runner;
    EXPECT_THAT(Refusal([&] { CAsyncRunnerPeer::RunThread(&operation, &runner); }),
                StartsWith(L"TalvinorGlobal: SetEvent. \""));
    CoUninitialize();
}

TEST_F(AsyncRunnerTest, AWorkerWithoutAnOperationLetsGoOfTheRunner) {
    CAsyncRunner runner;
    runner.AttachListener(std::make_unique<CListener>(m_diary, "a").release());
    CAsyncRunnerPeer::Started(runner) = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    const CUniqueHandle finished(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    CAsyncRunnerPeer::Finished(runner) = finished.Get();
    EXPECT_THAT(Refusal([&] { CAsyncRunnerPeer::RunThread(nullptr, &runner); }), HasSubstr(L"\"pOp is null\""));
    CoUninitialize();
    EXPECT_EQ(CAsyncRunnerPeer::Started(runner), nullptr);
    EXPECT_EQ(WaitForSingleObject(finished.Get(), 0), WAIT_OBJECT_0);
    EXPECT_THAT(m_diary.Get(), IsEmpty());
}

TEST_F(AsyncRunnerTest, AWorkerThatCannotEnterItsApartmentReturnsWithoutSignallingItsStart) {
    CAsyncRunner runner;
    const CUniqueHandle started(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    CAsyncRunnerPeer::Started(runner) = started.Get();
    COperation operation([&] { m_diary.Note("run"); });
    std::thread([&] {
        const CComApartment other(COINIT_MULTITHREADED);
        EXPECT_EQ(CAsyncRunnerPeer::RunThread(&operation, &runner), 0u);
    }).join();
    EXPECT_EQ(WaitForSingleObject(started.Get(), 0), static_cast<DWORD>(WAIT_TIMEOUT));
    EXPECT_THAT(m_diary.Get(), IsEmpty());
    EXPECT_THAT(m_log.At(L"ERROR"),
                ElementsAre(StartsWith(L"TalvinorGlobal: Failure HRESULT=0x80010106; \"CoInitializeEx failed.\"; at "
                                       L"ScriptExecution/AsyncRunner.cpp; line ")));
}

TEST_F(AsyncRunnerTest, TheWorkerLeavesItsApartmentInTheEnd) {
    std::thread([] {
        CAsyncRunner runner;
        CAsyncRunnerPeer::Started(runner) = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        const CUniqueHandle finished(CreateEventW(nullptr, FALSE, FALSE, nullptr));
        CAsyncRunnerPeer::Finished(runner) = finished.Get();
        HRESULT inside = E_FAIL;
        COperation operation([&] { inside = CComApartment(COINIT_MULTITHREADED).GetResult(); });
        EXPECT_EQ(CAsyncRunnerPeer::RunThread(&operation, &runner), 0u);
        EXPECT_EQ(inside, RPC_E_CHANGED_MODE);
        EXPECT_EQ(CComApartment(COINIT_MULTITHREADED).GetResult(), S_OK);
    }).join();
}

TEST_F(AsyncRunnerTest, ManyShortOperationsOneAfterAnother) {
    std::atomic<int> runs{0};
    COperation operation([&] { ++runs; });
    for (int i = 0; i < 200; ++i) {
        const CUniqueHandle gone = MakeEvent();
        auto* runner = std::make_unique<CAsyncRunner>(true).release();
        runner->AttachListener(std::make_unique<CListener>(m_diary, "x", gone.Get()).release());
        runner->Start(&operation);
        ASSERT_EQ(WaitForSingleObject(gone.Get(), Bound), WAIT_OBJECT_0);
    }
    EXPECT_EQ(runs, 200);
    EXPECT_THAT(m_log.At(L"ERROR"), IsEmpty());
}

// --- an operation that throws ends the process, so it does so in a second one ---

namespace {
CAsyncRunner* g_runner = nullptr;
CDiary* g_childDiary = nullptr;
constexpr const wchar_t* ReportVariable = L"QUORLINE_TEST_REPORT";

/// Tells the parent what state the exception left, where it has become clear that nothing catches it.
void ReportAndEnd(int) {
    wchar_t path[MAX_PATH];
    GetEnvironmentVariableW(ReportVariable, path, MAX_PATH);
    std::ofstream report{std::filesystem::path(path)};
    report << (CAsyncRunnerPeer::Started(*g_runner) == nullptr ? "let go" : "running") << ", "
           << (WaitForSingleObject(CAsyncRunnerPeer::Finished(*g_runner), 0) == WAIT_OBJECT_0 ? "signalled" : "waiting")
           << ", " << g_childDiary->Get().size() << " told";
    report.close();
    TerminateProcess(GetCurrentProcess(), 77);
}
} // namespace

TEST(AsyncRunnerChild, DISABLED_RunsAnOperationThatThrows) {
    CDiary diary;
    auto runner = std::make_unique<CAsyncRunner>(true);
    runner->AttachListener(std::make_unique<CListener>(diary, "a").release());
    g_runner = runner.release();
    g_childDiary = &diary;
    std::signal(SIGABRT, &ReportAndEnd); // an exception that is thrown on ends here past every terminate handler
    const CUniqueHandle go = MakeEvent();
    COperation operation([&] {
        WaitForSingleObject(go.Get(), Bound);
        throw COSException(5);
    });
    g_runner->Start(&operation);
    SetEvent(go.Get());
    Sleep(INFINITE); // until the process is ended, here or by the parent
}

TEST_F(AsyncRunnerTest, AnExceptionOutOfAnOperationEndsTheProcessWithoutTellingListeners) {
    const CTempFolder folder;
    const std::wstring report = folder.Path() + L"\\report";
    SetEnvironmentVariableW(ReportVariable, report.c_str());
    wchar_t program[MAX_PATH];
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    PROCESS_INFORMATION started{};
    ASSERT_TRUE(StartProcess(L"\"" + std::wstring(program) +
                                 L"\" --gtest_also_run_disabled_tests --gtest_filter=AsyncRunnerChild.*",
                             started));
    const CUniqueHandle process(started.hProcess);
    const CUniqueHandle thread(started.hThread);
    const DWORD waited = WaitForSingleObject(process.Get(), Bound);
    if (waited != WAIT_OBJECT_0)
        TerminateProcess(process.Get(), 1);
    ASSERT_EQ(waited, WAIT_OBJECT_0);
    DWORD code = 0;
    GetExitCodeProcess(process.Get(), &code);
    EXPECT_EQ(code, 77u);
    std::ifstream file{std::filesystem::path(report)};
    std::string text;
    std::getline(file, text);
    EXPECT_EQ(text, "let go, signalled, 0 told");
}
