// What the command promises of scripts that never end, engines that break down, and itself being ended: nothing hangs,
// and what was saved by then is kept. Proves worker/WorkerProcess, InterruptedSave and WorkerCommand.

#include "CommandFixture.h"

#include "ImportHook.h"
#include "LogFile.h"
#include "Processes.h"
#include "RunningApp.h"
#include "SaveTurn.h"
#include "SaveWork.h"
#include "WorkerCommand.h"
#include "WorkerProcess.h"

#include <nlohmann/json.hpp>

namespace {
using nlohmann::json;
using testing::AnyOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// Says where it has got to, in a file, and stays there.
std::string Hang(const std::wstring& mark) {
    return "CreateObject(\"Scripting.FileSystemObject\").CreateTextFile(\"" + ToUtf8(mark) + "\").Close\nDo\nLoop\n";
}

/// A document that is written and one that is not, under a name that the library's own record garbles.
constexpr const char* SaveTwo = R"(path = TalvinorDocumentStore.GetNew("100% sure", "C:\letters\100% sure.txt", ".txt")
CreateObject("Scripting.FileSystemObject").CreateTextFile(path).Write "text"
TalvinorDocumentStore.GetNew "Forgotten", "", ".txt"
)";

class WorkerTest : public CommandTest {
protected:
    /// An application of a single process, saved by this script.
    void PutAppSavedBy(const std::string& script) {
        PutSigned(L"save.vbs", script);
        PutSigned(L"restore.js", RestoreScript);
        const json app{{"friendlyName", "Letters"},
                       {"executables", {"qlworker.exe"}},
                       {"stateChanges", {"hibernate", "shutdown"}},
                       {"saveScript", "save.vbs"},
                       {"restoreScript", "restore.js"}};
        Put(L"apps.json", json{{"applications", {app}}}.dump());
        m_running = std::make_unique<CRunningApp>(std::vector<CAppWindow>{}, CRunningAppOptions{ExePath()});
    }

    std::wstring SaveCommand(const std::wstring& options = L"", const std::wstring& state = L"hibernate") const {
        return QuorlineCommand(L"save --state " + state + L" --apps " + Quoted(L"apps.json") + L" " + options);
    }
    std::wstring ExePath() const { return m_folder.Path() + L"\\QlWorker.exe"; }

    /// "'save.vbs', process 420 of Letters"
    std::string Run() const { return "'save.vbs', process " + std::to_string(m_running->Id()) + " of Letters"; }

    static json Documents() {
        const json stores = json::parse(RunQuorline(L"history --json").out)["stores"];
        return stores.size() == 1 ? stores[0]["documents"] : json();
    }

    /// That the record of SaveTwo is what it would be had the save come to its end.
    void ExpectWholeRecord() {
        const json documents = Documents();
        ASSERT_EQ(documents.size(), 2u) << documents;
        EXPECT_EQ(documents[0]["name"], "100% sure");
        EXPECT_EQ(documents[0]["originalPath"], "C:\\letters\\100% sure.txt");
        EXPECT_THAT(std::string(documents[0]["savedCopy"]), testing::EndsWith("\\100% sure.txt"));
        EXPECT_EQ(documents[1]["name"], "Forgotten");
        for (const auto& document : documents) {
            EXPECT_EQ(document["application"], "QlWorker.exe");
            EXPECT_EQ(document["applicationPath"], ToUtf8(ExePath()));
            EXPECT_EQ(document["saveScript"], "save.vbs");
            EXPECT_EQ(document["restoreScript"], "restore.js");
            EXPECT_EQ(document["recovered"], false);
        }
        EXPECT_EQ(Stored(L"100% sure.txt").size(), 1u);
        EXPECT_EQ(RunQuorline(L"restore \"100% sure\" --apps " + Quoted(L"apps.json")).exitCode, 0u);
        EXPECT_EQ(Stored(L".restored").size(), 1u);
    }

    CAppCopy m_copy{ExePath()};
    std::unique_ptr<CRunningApp> m_running;
};
} // namespace

TEST_F(WorkerTest, AnEndlessScriptIsEndedAtItsLimitAndVetoesByNameAndItsDocumentsStay) {
    PutAppSavedBy(SaveTwo + Hang(Path(L"hanging")));
    const CProgramResult result = RunProgram(SaveCommand(L"--script-timeout 10"));
    EXPECT_EQ(result.exitCode, 3u) << result.out << result.err;
    EXPECT_TRUE(std::filesystem::exists(Path(L"hanging")));
    EXPECT_THAT(result.out, HasSubstr("failed     " + Run() + " did not come to its end: it was ended after 10."));
    EXPECT_THAT(result.out, HasSubstr("s, more than one script may take\r\n"));
    EXPECT_THAT(result.out, HasSubstr("saved      "));
    EXPECT_THAT(result.out, HasSubstr("not saved  "));
    EXPECT_THAT(result.out, HasSubstr("vetoed     the machine must not enter hibernate"));
    EXPECT_THAT(ReadLogFile(), HasSubstr("The state change is vetoed: " + Run()));
    ExpectWholeRecord();
}

TEST_F(WorkerTest, TheRecordOfAShutdownThatIsCutShortHasItsStateChange) {
    const auto year = [] {
        SYSTEMTIME now{};
        GetSystemTime(&now);
        return "\t" + std::to_string(now.wYear) + "-";
    };
    PutAppSavedBy(SaveTwo + Hang(Path(L"hanging")));
    const std::string before = year();
    ASSERT_EQ(RunProgram(SaveCommand(L"--script-timeout 10", L"shutdown")).exitCode, 3u);
    const std::string info = ReadBytes(Stored(L"info.xml").at(0).wstring());
    EXPECT_THAT(info, HasSubstr("<StateChange>"));
    EXPECT_THAT(info, AnyOf(HasSubstr(before), HasSubstr(year())));
    EXPECT_THAT(info, HasSubstr("\tShutdown\t"));
    ExpectWholeRecord();
}

TEST_F(WorkerTest, AMessageBoxOfAScriptIsAHangLikeAnyOther) {
    PutAppSavedBy(std::string(SaveTwo) + "CreateObject(\"WScript.Shell\").Popup \"Save the letter?\"\n");
    const CProgramResult result = RunProgram(SaveCommand(L"--script-timeout 10"));
    EXPECT_EQ(result.exitCode, 3u) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("failed     " + Run() + " did not come to its end: it was ended after 10."));
    ExpectWholeRecord();
}

TEST_F(WorkerTest, AScriptThatNeverStopsTalkingIsEndedAtItsLimit) {
    PutAppSavedBy("Do\nTalvinorDocumentStore.LogMessage 2, \"again\"\nLoop\n");
    const CProgramResult result = RunProgram(SaveCommand(L"--script-timeout 10"));
    EXPECT_EQ(result.exitCode, 3u) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("failed     " + Run() + " did not come to its end: it was ended after 10."));
}

TEST_F(WorkerTest, ABreakdownInTheWorkerVetoesWithTheExceptionAndItsDocumentsStay) {
    PutAppSavedBy(SaveTwo + Hang(Path(L"hanging")));
    CProgram save(SaveCommand());
    ASSERT_TRUE(WaitForFile(Path(L"hanging")));
    const CUniqueHandle worker = WorkerOf(save.Process());
    ASSERT_TRUE(worker);
    // A thread of the worker's own that starts where there is no code.
    const CUniqueHandle thread(CreateRemoteThread(
        worker.Get(), nullptr, 0, reinterpret_cast<LPTHREAD_START_ROUTINE>(std::uintptr_t{16}), nullptr, 0, nullptr));
    ASSERT_TRUE(thread) << GetLastError();
    const CProgramResult result = save.Wait();
    EXPECT_EQ(result.exitCode, 3u) << result.out << result.err;
    EXPECT_THAT(result.out,
                HasSubstr("failed     " + Run() +
                          " did not come to its end: an access violation (exception 0xC0000005) ended it after "));
    EXPECT_THAT(result.out, HasSubstr("vetoed     the machine must not enter hibernate"));
    ExpectWholeRecord();
}

TEST_F(WorkerTest, AWorkerThatSomebodyEndsVetoesToo) {
    PutAppSavedBy(SaveTwo + Hang(Path(L"hanging")));
    CProgram save(SaveCommand());
    ASSERT_TRUE(WaitForFile(Path(L"hanging")));
    TerminateProcess(WorkerOf(save.Process()).Get(), 7);
    const CProgramResult result = save.Wait();
    EXPECT_EQ(result.exitCode, 3u) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("did not come to its end: the exit code 7 ended it after "));
    ExpectWholeRecord();
}

TEST_F(WorkerTest, AWorkerEndsWithTheCommandThatStartedIt) {
    PutAppSavedBy(Hang(Path(L"hanging")));
    CProgram save(SaveCommand());
    ASSERT_TRUE(WaitForFile(Path(L"hanging")));
    const CUniqueHandle worker = WorkerOf(save.Process());
    ASSERT_TRUE(worker);
    save.Kill();
    EXPECT_EQ(WaitForSingleObject(worker.Get(), 30'000), WAIT_OBJECT_0);
}

TEST_F(WorkerTest, AnApplicationThatAScriptHasStartedStaysWhenItsWorkerEnds) {
    const CAppCopy opened(m_folder.Path() + L"\\QlOpened.exe");
    const CUniqueHandle ready(CreateEventW(nullptr, TRUE, FALSE, L"QuorlineWorkerTest-ready"));
    const CUniqueHandle quit(CreateEventW(nullptr, TRUE, FALSE, L"QuorlineWorkerTest-quit"));
    PutAppSavedBy("CreateObject(\"WScript.Shell\").Run \"\"\"" + ToUtf8(opened.Path()) + "\"\" " +
                  std::to_string(GetCurrentProcessId()) +
                  " QuorlineWorkerTest-ready QuorlineWorkerTest-quit\", 1, False\n");
    const CProgramResult result = RunProgram(SaveCommand());
    EXPECT_EQ(result.exitCode, 0u) << result.out << result.err;
    EXPECT_EQ(WaitForSingleObject(ready.Get(), 30'000), WAIT_OBJECT_0);
    const CUniqueHandle process = ProcessNamed(L"QlOpened.exe");
    ASSERT_TRUE(process);
    EXPECT_EQ(WaitForSingleObject(process.Get(), 0), static_cast<DWORD>(WAIT_TIMEOUT));
    SetEvent(quit.Get());
    EXPECT_EQ(WaitForSingleObject(process.Get(), 30'000), WAIT_OBJECT_0);
}

TEST_F(WorkerTest, TheTimeForAllEndsASaveThatWaitsForAnother) {
    PutAppSavedBy(SaveTwo);
    const CSaveTurn turn;
    const CProgramResult result = RunProgram(SaveCommand(L"--timeout 10 --script-timeout 8"));
    EXPECT_EQ(result.exitCode, 3u) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("waiting    another save of this user is running\r\n"));
    EXPECT_THAT(result.out, HasSubstr("failed     the save did not come to its end: it was ended after "));
    EXPECT_THAT(result.out, HasSubstr(", when the time for all was over (10.0 s)\r\n"));
    EXPECT_THAT(result.out, HasSubstr("vetoed     the machine must not enter hibernate"));
    EXPECT_THAT(Stored(L""), IsEmpty());
}

TEST_F(WorkerTest, WaitingForAnotherSaveIsNoScriptsTime) {
    PutAppSavedBy(SaveTwo);
    auto turn = std::make_unique<CSaveTurn>();
    CPipedProgram save(SaveCommand(L"--script-timeout 10"));
    EXPECT_TRUE(save.ReadUntil("waiting    another save of this user is running"));
    // Longer than a script may take.
    EXPECT_EQ(WaitForSingleObject(save.Process(), 11'000), static_cast<DWORD>(WAIT_TIMEOUT));
    turn.reset();
    EXPECT_TRUE(save.ReadUntil("done       the machine may enter hibernate"));
    EXPECT_EQ(save.Wait(), 5u);
}

TEST_F(WorkerTest, EachRunIsToldWithItsTimeAndWhatTheScriptWarnedOf) {
    PutAppSavedBy("TalvinorDocumentStore.LogMessage 2, \"a word\"\n"
                  "TalvinorDocumentStore.LogMessage 1, \"a warning\"\n"
                  "TalvinorDocumentStore.LogMessage 0, \"an error\"\n");
    const CProgramResult result = RunProgram(SaveCommand());
    EXPECT_EQ(result.exitCode, 0u) << result.out << result.err;
    EXPECT_THAT(result.out,
                HasSubstr("message    WARN a warning\r\nmessage    ERROR an error\r\nran        " + Run() + ", "));
    EXPECT_THAT(result.out, Not(HasSubstr("a word")));
}

TEST_F(WorkerTest, AVetoOfTheScriptsOwnNamesIt) {
    PutAppSavedBy("TalvinorDocumentStore.VetoTransition\n");
    const CProgramResult result = RunProgram(SaveCommand());
    EXPECT_EQ(result.exitCode, 3u) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("vetoed     by " + Run() + ", which called VetoTransition\r\n"));
    PutAppSavedBy("Err.Raise 1000\n");
    EXPECT_THAT(RunProgram(SaveCommand()).out, Not(HasSubstr("VetoTransition"))) << "a failure's veto is the library's";
}

TEST_F(WorkerTest, AnErrorWithoutWordsIsToldByItsNumberProcessAndLine) {
    PutAppSavedBy("x = 1\ny = x / 0\n");
    const CProgramResult result = RunProgram(SaveCommand());
    EXPECT_EQ(result.exitCode, 3u) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("failed     'save.vbs', line 2, character "));
    EXPECT_THAT(result.out, HasSubstr("the engine gave no description"));
    EXPECT_THAT(result.out, HasSubstr("; Division by zero (error 11); process " + std::to_string(m_running->Id()) +
                                      "; the line is: y = x / 0\r\n"));
}

TEST_F(WorkerTest, ARefusedScriptIsToldWithTheSignersReason) {
    PutAppSavedBy("x = 1\n");
    Put(L"save.vbs", "x = 1\n");
    EXPECT_THAT(
        RunProgram(SaveCommand()).out,
        HasSubstr("failed     'save.vbs': Could not verify script (Script Verification): it is not signed\r\n"));
}

TEST_F(WorkerTest, WhyNothingRanIsTold) {
    PutAppSavedBy("x = 1\n");
    EXPECT_THAT(RunProgram(SaveCommand(L"", L"standby")).out,
                HasSubstr("protected  nothing: 1 is running, but none is protected for standby\r\n"));
}

TEST_F(WorkerTest, AsDataASaveHasItsDocumentsAndItsTroubles) {
    PutAppSavedBy(SaveTwo + Hang(Path(L"hanging")));
    const CProgramResult result = RunProgram(SaveCommand(L"--script-timeout 10 --json"));
    EXPECT_EQ(result.exitCode, 3u) << result.err;
    const json data = json::parse(result.out);
    EXPECT_EQ(data["state"], "hibernate");
    EXPECT_EQ(data["vetoed"], true);
    ASSERT_EQ(data["documents"].size(), 2u) << data;
    EXPECT_EQ(data["documents"][0]["written"], true);
    EXPECT_EQ(data["documents"][1]["written"], false);
    EXPECT_THAT(std::string(data["troubles"].at(0)), HasSubstr(Run()));
}

namespace {
// How the worker is started.
DWORD g_creationFlags = 0;
// Past the import, which is observed.
const auto SystemCreateProcess = reinterpret_cast<decltype(CreateProcessW)*>(
    reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "CreateProcessW")));
BOOL WINAPI ObservedCreateProcess(LPCWSTR program, LPWSTR commandLine, LPSECURITY_ATTRIBUTES process,
                                  LPSECURITY_ATTRIBUTES thread, BOOL inherit, DWORD flags, LPVOID environment,
                                  LPCWSTR directory, LPSTARTUPINFOW startup, LPPROCESS_INFORMATION started) {
    g_creationFlags = flags;
    return SystemCreateProcess(program, commandLine, process, thread, inherit, flags, environment, directory, startup,
                               started);
}

/// A worker that belongs to no job, whose events nobody reads.
class CBareWorker {
public:
    CBareWorker() {
        SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
        CUniqueHandle end;
        EXPECT_TRUE(CreatePipe(end.Put(), m_request.Put(), &inherited, 0));
        SetHandleInformation(m_request.Get(), HANDLE_FLAG_INHERIT, 0);
        STARTUPINFOW startup{};
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdInput = end.Get();
        PROCESS_INFORMATION started{};
        EXPECT_TRUE(StartProcess(nullptr, QuorlineCommand(L"worker 0"), nullptr, true, startup, started));
        m_process.Reset(started.hProcess);
        const CUniqueHandle thread(started.hThread);
    }

    HANDLE Process() const { return m_process.Get(); }
    void Ask(const std::string& line) const {
        DWORD written = 0;
        EXPECT_TRUE(WriteFile(m_request.Get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr));
    }
    void CloseRequest() { m_request.Reset(); }

private:
    CUniqueHandle m_request;
    CUniqueHandle m_process;
};
} // namespace

TEST_F(WorkerTest, AWorkerWhoseStarterIsGoneBeforeItsRequestEndsByItself) {
    const CImportHook hook(GetModuleHandleW(nullptr), "CreateProcessW", &ObservedCreateProcess);
    CWorkerProcess(json::object(), ProgramFolder() + L"\\quorline.exe").Run({}, {});
    EXPECT_EQ(g_creationFlags & CREATE_SUSPENDED, 0u) << "nobody would wake it";

    CBareWorker worker;
    worker.CloseRequest();
    EXPECT_EQ(WaitForSingleObject(worker.Process(), 60'000), WAIT_OBJECT_0);
}

TEST_F(WorkerTest, WhatAWorkerSaidBeforeItWasEndedIsHeard) {
    PutAppSavedBy(SaveTwo + Hang(Path(L"hanging")));
    CWorkerProcess worker(
        MakeOrder("save", ToJson(CSaveRequest{.state = L"hibernate", .appsFile = Path(L"apps.json")})),
        ProgramFolder() + L"\\quorline.exe");
    CWorkerLimits limits{.step = std::chrono::minutes(5)};
    std::size_t reserved = 0;
    CWorkerWatch watch;
    watch.onEvent = [&](const CWorkerEvent& event) {
        if (std::holds_alternative<CScriptStartedEvent>(event)) {
            // Nobody listens before the script has said all that it has to say, and then its time is over.
            EXPECT_TRUE(WaitForFile(Path(L"hanging")));
            limits.step = {};
        }
        reserved += std::holds_alternative<CDocumentReservedEvent>(event) ? 1 : 0;
    };
    EXPECT_EQ(worker.Run(limits, watch).kind, CWorkerEnd::Kind::StepLimit);
    EXPECT_EQ(reserved, 2u);
}

TEST_F(WorkerTest, AWorkerEndsWithItsRequestsPipeWhateverItsScriptDoes) {
    PutAppSavedBy(Hang(Path(L"hanging")));
    CBareWorker worker;
    worker.Ask(MakeOrder("save", ToJson(CSaveRequest{.state = L"hibernate", .appsFile = Path(L"apps.json")})).dump() +
               "\n");
    ASSERT_TRUE(WaitForFile(Path(L"hanging")));
    EXPECT_EQ(WaitForSingleObject(worker.Process(), 0), static_cast<DWORD>(WAIT_TIMEOUT));
    worker.CloseRequest();
    EXPECT_EQ(WaitForSingleObject(worker.Process(), 60'000), WAIT_OBJECT_0);
}
