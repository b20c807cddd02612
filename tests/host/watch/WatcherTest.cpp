// Proves what the real watcher answers the session and the machine: watch/Watcher, WatchWindow, Saver.

#include "WatchFixture.h"

#include "AppsFile.h"
#include "WatchEvents.h"
#include "WatchResource.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <commctrl.h>

#include <sstream>

namespace {
using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* FailingScript = "Err.Raise 5, \"Save script\", \"The letter has no name yet\"\r\n";

/// What stands in a list of another process.
std::wstring CellOf(HWND list, WPARAM row, int column) {
    DWORD id = 0;
    GetWindowThreadProcessId(list, &id);
    const CUniqueHandle process(OpenProcess(PROCESS_VM_OPERATION | PROCESS_VM_READ | PROCESS_VM_WRITE, FALSE, id));
    struct {
        LVITEMW item{};
        wchar_t text[128] = L"";
    } cell;
    auto* const there = static_cast<BYTE*>(
        VirtualAllocEx(process.Get(), nullptr, sizeof(cell), MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
    cell.item.iSubItem = column;
    cell.item.pszText = reinterpret_cast<wchar_t*>(there + sizeof(cell.item));
    cell.item.cchTextMax = static_cast<int>(std::size(cell.text));
    WriteProcessMemory(process.Get(), there, &cell, sizeof(cell), nullptr);
    SendMessageW(list, LVM_GETITEMTEXTW, row, reinterpret_cast<LPARAM>(there));
    ReadProcessMemory(process.Get(), there, &cell, sizeof(cell), nullptr);
    VirtualFreeEx(process.Get(), there, 0, MEM_RELEASE);
    return cell.text;
}

/// Says that it runs, and goes on until it is told to end.
std::string WaitingScript(const std::string& folder) {
    return "Set files = CreateObject(\"Scripting.FileSystemObject\")\r\nfiles.CreateTextFile(\"" + folder +
           "\\runs\").Close\r\nDo Until files.FileExists(\"" + folder + "\\go\")\r\nLoop\r\n";
}
} // namespace

TEST_F(WatchTest, TheEndOfTheSessionIsAnsweredOnceTheDocumentsAreSaved) {
    PutApps();
    StartNotepad();
    Watch();
    EXPECT_EQ(Tell(WM_QUERYENDSESSION), TRUE);
    EXPECT_EQ(Stored(L".txt").size(), 1u);
    EXPECT_EQ(Tell(WM_ENDSESSION, TRUE), 0);
    EXPECT_EQ(m_watch->Wait(), 0u);
    EXPECT_FALSE(ReadWatchRecord(WatchRecordPath()).watching);
    m_watch.reset();
}

TEST_F(WatchTest, AFailingScriptSpeaksAgainstTheEndOfTheSession) {
    PutApps("failing.vbs");
    PutSigned(L"failing.vbs", FailingScript);
    StartNotepad();
    Watch();
    EXPECT_EQ(Tell(WM_QUERYENDSESSION), FALSE);
    EXPECT_TRUE(ReadWatchRecord(WatchRecordPath()).watching);
}

TEST_F(WatchTest, AfterASessionThatGoesOnTheNextEndIsAnsweredToo) {
    PutApps();
    StartNotepad();
    Watch();
    EXPECT_EQ(Tell(WM_QUERYENDSESSION), TRUE);
    EXPECT_EQ(Tell(WM_ENDSESSION, FALSE), 0);
    EXPECT_TRUE(ReadWatchRecord(WatchRecordPath()).watching);
    EXPECT_EQ(Tell(WM_QUERYENDSESSION), TRUE);
    EXPECT_EQ(Stored(L".txt").size(), 2u);
}

TEST_F(WatchTest, AnEndThatCouldNotBeSavedLeavesTheCheckpointToTheNextStart) {
    PutApps("failing.vbs");
    PutSigned(L"failing.vbs", FailingScript);
    StartNotepad();
    Watch();
    EXPECT_EQ(Tell(WM_QUERYENDSESSION, 0, static_cast<LPARAM>(ENDSESSION_CRITICAL)), FALSE);
    EXPECT_EQ(Tell(WM_ENDSESSION, TRUE), 0);
    EXPECT_EQ(m_watch->Wait(), 0u);
    EXPECT_TRUE(ReadWatchRecord(WatchRecordPath()).watching);
    m_watch.reset();
}

TEST_F(WatchTest, BeforeAnythingIsProtectedNothingHoldsUpTheEndOfTheSession) {
    ASSERT_FALSE(std::filesystem::exists(DefaultAppsFile()));
    WatchWith(L"");
    EXPECT_EQ(Tell(WM_QUERYENDSESSION), TRUE);
    EXPECT_EQ(Tell(WM_POWERBROADCAST, PBT_APMQUERYSUSPEND), TRUE);
    EXPECT_EQ(StoreCount(), 0u);
}

TEST_F(WatchTest, AnApplicationsFileThatWasNamedAndIsMissingSpeaksAgainstTheEnd) {
    Watch();
    EXPECT_EQ(Tell(WM_QUERYENDSESSION), FALSE);
}

TEST_F(WatchTest, AnInstallationThatWantsTheProgramClosedSavesNothing) {
    PutApps();
    StartNotepad();
    Watch();
    EXPECT_EQ(Tell(WM_QUERYENDSESSION, 0, ENDSESSION_CLOSEAPP), TRUE);
    EXPECT_EQ(StoreCount(), 0u);
}

TEST_F(WatchTest, ACriticalEndGetsTheShortestLimit) {
    PutApps("waiting.vbs");
    PutSigned(L"waiting.vbs", WaitingScript(ToUtf8(m_folder.Path())));
    StartNotepad();
    Watch();
    const ULONGLONG begin = GetTickCount64();
    EXPECT_EQ(Tell(WM_QUERYENDSESSION, 0, static_cast<LPARAM>(ENDSESSION_CRITICAL)), FALSE);
    // The default for a script alone is sixty.
    EXPECT_LT(GetTickCount64() - begin, 30'000u);
}

TEST_F(WatchTest, WhileItSavesItsWindowAnswers) {
    PutApps("waiting.vbs");
    PutSigned(L"waiting.vbs", WaitingScript(ToUtf8(m_folder.Path())));
    StartNotepad();
    Watch();
    ASSERT_NE(SendNotifyMessageW(Window(), WM_QUERYENDSESSION, 0, 0), FALSE);
    ASSERT_TRUE(WaitForFile(Path(L"runs")));
    EXPECT_EQ(Tell(WM_NULL), 0);
    // What is not saved yet must not go, whoever asks.
    EXPECT_EQ(Tell(WM_QUERYENDSESSION), FALSE);
    EXPECT_EQ(Tell(WM_POWERBROADCAST, PBT_APMQUERYSUSPEND), BROADCAST_QUERY_DENY);
    Put(L"go", "");
}

TEST_F(WatchTest, ASuspensionThatIsAskedAboutIsAnsweredByTheSave) {
    PutApps("save.vbs", Standby);
    StartNotepad();
    Watch();
    EXPECT_EQ(Tell(WM_POWERBROADCAST, PBT_APMQUERYSUSPEND), TRUE);
    EXPECT_EQ(StoreCount(), 1u);
    // It has been saved already.
    Tell(WM_POWERBROADCAST, PBT_APMSUSPEND);
    EXPECT_EQ(StoreCount(), 1u);
    Tell(WM_POWERBROADCAST, PBT_APMRESUMEAUTOMATIC);
    Tell(WM_POWERBROADCAST, PBT_APMSUSPEND);
    EXPECT_EQ(StoreCount(), 2u);
}

TEST_F(WatchTest, AfterASuspensionThatWasRefusedTheNextIsSavedFor) {
    PutApps("save.vbs", Standby);
    StartNotepad();
    Watch();
    EXPECT_EQ(Tell(WM_POWERBROADCAST, PBT_APMQUERYSUSPEND), TRUE);
    Tell(WM_POWERBROADCAST, PBT_APMQUERYSUSPENDFAILED);
    Tell(WM_POWERBROADCAST, PBT_APMSUSPEND);
    EXPECT_EQ(StoreCount(), 2u);
}

TEST_F(WatchTest, AFailingScriptDeniesTheSuspension) {
    PutApps("failing.vbs", Standby);
    PutSigned(L"failing.vbs", FailingScript);
    StartNotepad();
    Watch();
    EXPECT_EQ(Tell(WM_POWERBROADCAST, PBT_APMQUERYSUSPEND), BROADCAST_QUERY_DENY);
}

TEST_F(WatchTest, AfterAResumeTheUserIsAskedAndTheTickedDocumentsAreRestored) {
    PutApps();
    StartNotepad();
    Watch();
    EXPECT_EQ(Tell(WM_QUERYENDSESSION), TRUE);
    Tell(WM_POWERBROADCAST, PBT_APMRESUMEAUTOMATIC);
    ASSERT_NE(Dialog(), nullptr);
    const HWND list = GetDlgItem(Dialog(), IDC_DOCUMENTS);
    EXPECT_EQ(SendMessageW(list, LVM_GETITEMCOUNT, 0, 0), 1);
    Press(IDC_RESTORE);
    EXPECT_EQ(Stored(L".restored").size(), 1u);
    EXPECT_EQ(Dialog(), nullptr);
    Tell(WM_POWERBROADCAST, PBT_APMRESUMEAUTOMATIC);
    EXPECT_EQ(Dialog(), nullptr);
}

TEST_F(WatchTest, TheWindowListsApplicationNameAndTimeOfEachDocument) {
    PutApps();
    StartNotepad();
    ASSERT_EQ(Save().exitCode, 0u);
    Watch();
    ASSERT_NE(Dialog(), nullptr);
    const HWND list = GetDlgItem(Dialog(), IDC_DOCUMENTS);
    EXPECT_EQ(CellOf(list, 0, 0), L"notepad.exe"); // a record has no friendlier name
    EXPECT_EQ(CellOf(list, 0, 1), L"Letter");
    std::wstring time = CellOf(list, 0, 2);
    std::replace(time.begin(), time.end(), L' ', L'_');
    std::replace(time.begin(), time.end(), L':', L'.');
    EXPECT_EQ(time, Stored(L"info.xml").at(0).parent_path().filename().wstring());
}

TEST_F(WatchTest, AUserWhoSaysNotNowIsNotAskedAgain) {
    PutApps();
    StartNotepad();
    ASSERT_EQ(Save().exitCode, 0u);
    Watch();
    ASSERT_NE(Dialog(), nullptr);
    Press(IDCANCEL);
    EXPECT_EQ(Dialog(), nullptr);
    EXPECT_EQ(Stored(L".restored").size(), 0u);
    Stop();
    Watch();
    EXPECT_EQ(Dialog(), nullptr);
    // What is new is asked about.
    ASSERT_EQ(Save().exitCode, 0u);
    Tell(WM_POWERBROADCAST, PBT_APMRESUMESUSPEND);
    EXPECT_NE(Dialog(), nullptr);
}

TEST_F(WatchTest, ShowFolderOpensTheStoreAndGoesOnAsking) {
    PutApps();
    StartNotepad();
    ASSERT_EQ(Save().exitCode, 0u);
    Watch();
    ASSERT_NE(Dialog(), nullptr);
    Press(IDC_SHOW_FOLDER);
    const HWND folder = WaitForWindow(L"ExplorerWClass", nullptr);
    ASSERT_NE(folder, nullptr);
    EXPECT_NE(Dialog(), nullptr);
    EndProgramOf(folder);
}

TEST_F(WatchTest, AlwaysRestoresWithoutAskingAndNeverDoesNothing) {
    PutApps();
    StartNotepad();
    ASSERT_EQ(Save().exitCode, 0u);
    Watch(L"--restore never");
    EXPECT_EQ(Dialog(), nullptr);
    EXPECT_EQ(Stored(L".restored").size(), 0u);
    Stop();
    Watch(L"--restore always");
    EXPECT_EQ(Dialog(), nullptr);
    EXPECT_TRUE(WaitForFile(Stored(L".txt").at(0).wstring() + L".restored"));
}

TEST_F(WatchTest, ADoubleClickOnTheIconListsEveryDocumentAndTicksTheUnrecovered) {
    PutApps();
    StartNotepad();
    ASSERT_EQ(Save().exitCode, 0u);
    ASSERT_EQ(Restore(L"--all").exitCode, 0u);
    ASSERT_EQ(Save().exitCode, 0u);
    Watch(L"--restore never");
    ASSERT_EQ(Dialog(), nullptr);
    Tell(CWatchWindow::IconMessage, 0, WM_LBUTTONDBLCLK);
    ASSERT_NE(Dialog(), nullptr);
    const HWND list = GetDlgItem(Dialog(), IDC_DOCUMENTS);
    EXPECT_EQ(SendMessageW(list, LVM_GETITEMCOUNT, 0, 0), 2);
    const auto isTicked = [&](WPARAM row) {
        return SendMessageW(list, LVM_GETITEMSTATE, row, LVIS_STATEIMAGEMASK) == INDEXTOSTATEIMAGEMASK(2);
    };
    EXPECT_TRUE(isTicked(0)); // the newest
    EXPECT_FALSE(isTicked(1));
    Press(IDC_RESTORE);
    EXPECT_EQ(Stored(L".restored").size(), 2u);
}

TEST_F(WatchTest, TheMenuOfTheIconOpensHistoryAndLog) {
    PutApps();
    Watch();
    ChooseOfMenu(1);
    EXPECT_NE(Dialog(), nullptr);
    Press(IDCANCEL);
    ChooseOfMenu(2);
    const HWND log = WaitForWindow(L"Notepad", L"TalvinorSession.log - Notepad");
    ASSERT_NE(log, nullptr);
    EndProgramOf(log);
}

TEST_F(WatchTest, ASessionIsWatchedOnce) {
    PutApps();
    Watch();
    const CProgramResult second = RunQuorline(L"watch");
    EXPECT_EQ(second.exitCode, 0u);
    EXPECT_EQ(second.out, "this session is watched already\r\n");
}

TEST_F(WatchTest, ProgramsAreToldEachEventInALineOfItsOwnAsItHappens) {
    PutApps();
    StartNotepad();
    Watch(L"--json", "{\"event\":\"watching\"");
    const auto second = nlohmann::json::parse(RunQuorline(L"watch --json").out);
    EXPECT_EQ(second["event"], "watched-already");
    EXPECT_EQ(Tell(WM_QUERYENDSESSION), TRUE);
    EXPECT_TRUE(m_watch->ReadUntil("{\"event\":\"saved\""));
    EXPECT_EQ(nlohmann::json::parse(RunQuorline(L"watch --stop --json").out)["event"], "stopped");
    EXPECT_EQ(m_watch->Wait(), 0u);
    std::vector<nlohmann::json> events;
    std::istringstream lines(m_watch->ReadToEnd());
    for (std::string line; std::getline(lines, line);)
        events.push_back(nlohmann::json::parse(line));
    m_watch.reset();
    ASSERT_EQ(events.size(), 3u) << nlohmann::json(events);
    EXPECT_THAT(events[0]["values"], ElementsAre(ToUtf8(Path(L"apps.json"))));
    EXPECT_THAT(events[0]["text"], HasSubstr("Quorline watches this session. Protected applications: "));
    EXPECT_EQ(events[1]["severity"], "info");
    EXPECT_THAT(events[1]["values"],
                ElementsAre("the end of the session", "1", ToUtf8(Stored(L".txt").at(0).parent_path().wstring())));
    EXPECT_EQ(events[2]["event"], "stopped");
    EXPECT_EQ(nlohmann::json::parse(RunQuorline(L"watch --stop --json").out)["event"], "not-watched");
}

TEST_F(WatchTest, AVetoIsAWarningForProgramsToo) {
    PutApps("failing.vbs");
    PutSigned(L"failing.vbs", FailingScript);
    StartNotepad();
    Watch(L"--json", "{\"event\":\"watching\"");
    EXPECT_EQ(Tell(WM_QUERYENDSESSION), FALSE);
    EXPECT_TRUE(m_watch->ReadUntil("{\"event\":\"vetoed\",\"severity\":\"warning\",\"values\":[\"the end of the "
                                   "session\",\"'failing.vbs', line 1"));
}

TEST_F(WatchTest, TheProgramHasTheTextsOfTheEventLog) {
    for (const wchar_t* name : {L"quorline.exe", L"quorline-watch.exe"}) {
        const HMODULE program =
            LoadLibraryExW((ProgramFolder() + L"\\" + name).c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
        ASSERT_NE(program, nullptr);
        const wchar_t* inserts[] = {L"the end of the session", L"'a.vbs', line 4"};
        wchar_t text[512] = L"";
        FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY, program, EVENT_VETOED, 0, text,
                       std::size(text), reinterpret_cast<va_list*>(const_cast<wchar_t**>(inserts)));
        FreeLibrary(program);
        EXPECT_STREQ(text, L"Quorline speaks against the end of the session, because documents could not be saved: "
                           L"'a.vbs', line 4\r\n");
    }
}

TEST_F(WatchTest, BadOptionsAreRefusedBeforeAnythingIsWatched) {
    for (const wchar_t* options : {L"--checkpoint soon", L"--checkpoint 0m", L"--keep 5 sometimes", L"--restore often"})
        EXPECT_EQ(RunQuorline(std::wstring(L"watch ") + options).exitCode, 2u) << testing::PrintToString(options);
    EXPECT_EQ(Window(), nullptr);
}
