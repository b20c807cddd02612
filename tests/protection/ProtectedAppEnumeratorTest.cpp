// Proves which running processes and visible windows are found: protection/ProtectedAppEnumerator.

#include "EnumeratorSupport.h"
#include "ProcessUse.h"
#include "RunningApp.h"
#include "SecurityTestSupport.h"

#include <gtest/gtest.h>

#include <psapi.h>

#include <array>
#include <list>
#include <string>
#include <vector>

TEST(ProtectedAppEnumerator, AVisibleWindowIsProtectedByItsTitle) {
    const CRunningApp app({{true, L"QlEditor", L"Letter to Ada - Editor"}});
    const CLogLines log;
    CDocumentScript script = ScriptForTitle(L"*ada - editor");
    EXPECT_EQ(CIds{app.Id()}, script.GetProtectedProcIDs());
    EXPECT_EQ((CTexts{Searching, SearchingWindows, FoundWindow(L"LETTER TO ADA - EDITOR", L"QLEDITOR"),
                      SearchingProcesses, FoundCount(1)}),
              LinesOf(log));
}

TEST(ProtectedAppEnumerator, AVisibleWindowIsProtectedByItsClass) {
    const CRunningApp app({{true, L"QlClassOnly", L"Letter"}});
    const CLogLines log;
    CDocumentScript script;
    script.AddWindowClass(L"qlclass*");
    EXPECT_EQ(CIds{app.Id()}, script.GetProtectedProcIDs());
    EXPECT_EQ((CTexts{Searching, SearchingWindows, FoundWindow(L"LETTER", L"QLCLASSONLY"), SearchingProcesses,
                      FoundCount(1)}),
              LinesOf(log));
}

TEST(ProtectedAppEnumerator, AProcessIsProtectedByItsImageName) {
    const CAppCopy program(TestFolder() + L"\\Ql Image.Name.exe");
    const CRunningApp first({}, {program.Path()});
    const CRunningApp second({}, {program.Path()});
    const CLogLines log;
    CDocumentScript script;
    script.AddExe(L"ql image*.exe");
    EXPECT_EQ((CIds{first.Id(), second.Id()}), script.GetProtectedProcIDs());
    EXPECT_EQ((CTexts{Searching, SearchingWindows, SearchingProcesses, FoundProcess(L"QL IMAGE.NAME.EXE"),
                      FoundProcess(L"QL IMAGE.NAME.EXE"), FoundCount(2)}),
              LinesOf(log));
}

TEST(ProtectedAppEnumerator, NothingThatMatchesIsSaid) {
    const CLogLines log;
    CDocumentScript script = ScriptForTitle(L"no window has this title");
    script.AddExe(L"no-such-program.exe");
    EXPECT_EQ(CIds{}, script.GetProtectedProcIDs());
    EXPECT_EQ((CTexts{Searching, SearchingWindows, SearchingProcesses, NoneFound}), LinesOf(log));
}

TEST(ProtectedAppEnumerator, AHiddenWindowProtectsNothingButItsProcessIsStillFound) {
    const CAppCopy program(TestFolder() + L"\\QlHidden.exe");
    const CRunningApp app({{false, L"QlHiddenClass", L"Hidden letter"}}, {program.Path()});
    CDocumentScript script = ScriptForTitle(L"hidden letter");
    script.AddWindowClass(L"qlhiddenclass");
    EXPECT_EQ(CIds{}, script.GetProtectedProcIDs());
    script.AddExe(L"QLHIDDEN.EXE");
    EXPECT_EQ(CIds{app.Id()}, script.GetProtectedProcIDs());
}

TEST(ProtectedAppEnumerator, AWindowWithAnEmptyTitleIsFoundByItsClass) {
    const CRunningApp app({{true, L"QlUntitled", L""}});
    const CLogLines log;
    CDocumentScript script;
    script.AddWindowClass(L"QLUNTITLED");
    // An error from before must not be taken for the title's.
    SetLastError(ERROR_INVALID_HANDLE);
    EXPECT_EQ(CIds{app.Id()}, script.GetProtectedProcIDs());
    EXPECT_EQ((CTexts{Searching, SearchingWindows, FoundWindow(L"", L"QLUNTITLED"), SearchingProcesses, FoundCount(1)}),
              LinesOf(log));
}

TEST(ProtectedAppEnumerator, AProcessFoundInSeveralWaysIsInTheResultOnce) {
    const CAppCopy program(TestFolder() + L"\\QlSeveral.exe");
    const CRunningApp app({{true, L"QlSeveral", L"one"}, {true, L"QlSeveral", L"two"}, {false, L"QlSeveral", L"three"}},
                          {program.Path()});
    const CLogLines log;
    CDocumentScript script;
    script.AddWindowClass(L"qlseveral");
    script.AddExe(L"qlseveral.exe");
    EXPECT_EQ(CIds{app.Id()}, script.GetProtectedProcIDs());
    CTexts lines = LinesOf(log);
    ASSERT_EQ(7U, lines.size());
    // The system lists the topmost window first.
    EXPECT_EQ((CTexts{Searching, SearchingWindows, FoundWindow(L"TWO", L"QLSEVERAL"), FoundWindow(L"ONE", L"QLSEVERAL"),
                      SearchingProcesses, FoundProcess(L"QLSEVERAL.EXE"), FoundCount(1)}),
              lines);
}

TEST(ProtectedAppEnumerator, RecordsHoldUpperCasedNamesAndTheProcess) {
    const CRunningApp app({{true, L"QlRecorded", L"Mixed Case"}, {false, L"QlRecorded", L"Hidden"}});
    CRecorder recorder;
    EXPECT_EQ(CIds{}, Enumerate(recorder));
    const std::vector<CWindowInfo> windows = recorder.WindowsOf(app.Id());
    ASSERT_EQ(1U, windows.size());
    EXPECT_EQ(L"MIXED CASE", windows[0].m_title);
    EXPECT_EQ(L"QLRECORDED", windows[0].m_className);
    EXPECT_FALSE(windows[0].m_network);
    const CProcessInfo* process = recorder.Process(app.Id());
    ASSERT_NE(nullptr, process);
    EXPECT_EQ(L"TESTAPP.EXE", process->m_imageName);
    EXPECT_FALSE(process->m_network);
    EXPECT_NE(nullptr, recorder.Process(GetCurrentProcessId()));
    EXPECT_EQ(nullptr, recorder.Process(0));
}

TEST(ProtectedAppEnumerator, ALongTitleIsCutAt511Characters) {
    const CRunningApp app({{true, L"QlLong", std::wstring(2000, L'x')}});
    CRecorder recorder;
    Enumerate(recorder);
    const std::vector<CWindowInfo> windows = recorder.WindowsOf(app.Id());
    ASSERT_EQ(1U, windows.size());
    EXPECT_EQ(std::wstring(511, L'X'), windows[0].m_title);
}

TEST(ProtectedAppEnumerator, ManyProcessesAreAllSeenInTheSystemsOrder) {
    std::list<CRunningApp> apps;
    CRecorder recorder;
    for (int count = 0; count < 40; ++count)
        recorder.protectedIds.insert(apps.emplace_back().Id());
    EXPECT_EQ(recorder.protectedIds, Enumerate(recorder));

    std::array<DWORD, 1024> listed{};
    DWORD size = 0;
    ASSERT_TRUE(EnumProcesses(listed.data(), sizeof(listed), &size));
    std::vector<DWORD> order(listed.begin(), listed.begin() + size / sizeof(DWORD));
    std::erase_if(order, [&](DWORD id) { return !recorder.protectedIds.contains(id); });
    std::vector<DWORD> seen;
    for (const CProcessInfo& process : recorder.processes)
        if (recorder.protectedIds.contains(process.m_processId))
            seen.push_back(process.m_processId);
    EXPECT_EQ(order, seen);
}

TEST(ProtectedAppEnumerator, TheInteractiveDesktopIsUsedOnlyWhileWindowsAreListed) {
    const HWINSTA stationBefore = GetProcessWindowStation();
    const CRunningApp app({{true, L"QlStation", L"Station"}});
    OnNewThread([&] {
        const HWINSTA station = CreateWindowStationW(L"QuorlineEnumeratorTest", 0, WINSTA_ALL_ACCESS, nullptr);
        ASSERT_TRUE(SetProcessWindowStation(station));
        const HDESK desktopBefore = GetThreadDesktop(GetCurrentThreadId());
        const HDESK desktop = CreateDesktopW(L"QuorlineEnumeratorDesk", nullptr, nullptr, 0, GENERIC_ALL, nullptr);
        ASSERT_TRUE(SetThreadDesktop(desktop));
        CDocumentScript script = ScriptForTitle(L"station");
        EXPECT_EQ(CIds{app.Id()}, script.GetProtectedProcIDs());
        EXPECT_EQ(station, GetProcessWindowStation());
        EXPECT_EQ(desktop, GetThreadDesktop(GetCurrentThreadId()));
        EXPECT_TRUE(SetProcessWindowStation(stationBefore));
        EXPECT_TRUE(SetThreadDesktop(desktopBefore));
        EXPECT_TRUE(CloseDesktop(desktop));
        EXPECT_TRUE(CloseWindowStation(station));
    });
}

TEST(ProtectedAppEnumerator, OneEnumeratorCanBeUsedAgain) {
    const CRunningApp app({{true, L"QlAgain", L"Again"}});
    CRecorder recorder;
    CProtectedAppEnumerator enumerator(1);
    enumerator.GetProtectedApps(&recorder);
    EXPECT_EQ(1U, recorder.WindowsOf(app.Id()).size());
    recorder.windows.clear();
    recorder.processes.clear();
    enumerator.GetProtectedApps(&recorder);
    EXPECT_EQ(1U, recorder.WindowsOf(app.Id()).size());
    EXPECT_EQ(1, std::count_if(recorder.processes.begin(), recorder.processes.end(),
                               [&](const CProcessInfo& process) { return process.m_processId == app.Id(); }));
}

TEST(ProtectedAppEnumerator, OperationsAreTracedInOrder) {
    const CLogLines log;
    CRecorder recorder;
    Enumerate(recorder);
    EXPECT_EQ((CTexts{L"DEBUG Entering -> [CProtectedAppEnumerator::GetProtectedApps]",
                      L"DEBUG Entering -> [CProtectedAppEnumerator::EnumerateWindows]",
                      L"DEBUG Leaving  -> [CProtectedAppEnumerator::EnumerateWindows]",
                      L"DEBUG Entering -> [CProtectedAppEnumerator::EnumerateProcesses]",
                      L"DEBUG Leaving  -> [CProtectedAppEnumerator::EnumerateProcesses]",
                      L"DEBUG Leaving  -> [CProtectedAppEnumerator::GetProtectedApps]"}),
              log.Of(L"Trace.CProtectedAppEnumerator"));
}

TEST(ProtectedAppEnumerator, RepeatedSearchesLeaveNoHandleOpen) {
    const CRunningApp app({{true, L"QlLeak", L"Leak"}});
    CRecorder recorder;
    Enumerate(recorder, 0);
    const DWORD before = HandlesInUse();
    for (int count = 0; count < 50; ++count)
        Enumerate(recorder, count % 2);
    EXPECT_EQ(before, HandlesInUse());
}
