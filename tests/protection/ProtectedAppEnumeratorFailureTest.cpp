// Proves that a system call which fails hides no other application: protection/ProtectedAppEnumerator.

#include "EnumeratorSupport.h"
#include "ImportHook.h"
#include "ProcessUse.h"
#include "RunningApp.h"
#include "SecurityTestSupport.h"

#include <gtest/gtest.h>

#include <psapi.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <new>
#include <string>
#include <vector>

namespace {
CTexts WarningsOf(const CLogLines& log, DWORD id) {
    CTexts lines = log.Of(LoggerName);
    const std::wstring part = L" for pid " + std::to_wstring(id) + L",";
    std::erase_if(lines, [&part](const std::wstring& line) { return line.find(part) == line.npos; });
    return lines;
}
} // namespace

TEST(EnumeratorFailure, AListThatExactlyFillsTheBufferIsAskedForAgain) {
    static std::vector<DWORD> sizes;
    sizes.clear();
    const CImportHook counting(
        Program(), "K32EnumProcesses", +[](DWORD* ids, DWORD size, DWORD* returned) -> WINBOOL {
            sizes.push_back(size);
            constexpr DWORD there = 32;
            const DWORD count = std::min(static_cast<DWORD>(size / sizeof(DWORD)), there);
            std::fill_n(ids, count, GetCurrentProcessId());
            *returned = count * static_cast<DWORD>(sizeof(DWORD));
            return TRUE;
        });
    CRecorder recorder;
    Enumerate(recorder);
    EXPECT_EQ((std::vector<DWORD>{64, 128, 192}), sizes);
    EXPECT_EQ(32U, recorder.processes.size());
}

TEST(EnumeratorFailure, AProcessThatCannotBeOpenedIsLeftOutWithAWarning) {
    // Nobody but its parent, which has a handle already, may open this process.
    ACL nobody{};
    SECURITY_DESCRIPTOR descriptor{};
    ASSERT_TRUE(InitializeAcl(&nobody, sizeof(nobody), ACL_REVISION));
    ASSERT_TRUE(InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION));
    ASSERT_TRUE(SetSecurityDescriptorDacl(&descriptor, TRUE, &nobody, FALSE));
    SECURITY_ATTRIBUTES attributes{sizeof(attributes), &descriptor, FALSE};
    const CRunningApp app({{true, L"QlLocked", L"Locked"}}, {L"", &attributes});

    const CLogLines log;
    CRecorder recorder;
    Enumerate(recorder);
    EXPECT_EQ(nullptr, recorder.Process(app.Id()));
    // Once for its window, once for itself.
    const std::wstring warning = L"WARN GetProcessInfo -> OpenProcess() returned bad handle for pid " +
                                 std::to_wstring(app.Id()) + L", error = 5";
    EXPECT_EQ((CTexts{warning, warning}), WarningsOf(log, app.Id()));
    // Its window can still be seen.
    ASSERT_EQ(1U, recorder.WindowsOf(app.Id()).size());
    CDocumentScript script = ScriptForTitle(L"locked");
    script.AddExe(L"TESTAPP.EXE");
    EXPECT_EQ(CIds{app.Id()}, script.GetProtectedProcIDs());
}

TEST(EnumeratorFailure, AProcessWithoutAReadablePathIsLeftOut) {
    const CRunningApp app({{true, L"QlPathless", L"Pathless"}});
    const CImportHook failing(
        Program(), "K32GetModuleFileNameExW", +[](HANDLE, HMODULE, LPWSTR, DWORD) -> DWORD { return 0; });
    const DWORD before = HandlesInUse();
    CRecorder recorder;
    Enumerate(recorder);
    EXPECT_TRUE(recorder.processes.empty());
    EXPECT_EQ(1U, recorder.WindowsOf(app.Id()).size());
    EXPECT_EQ(before, HandlesInUse());
}

TEST(EnumeratorFailure, AWindowWhoseTitleCannotBeReadIsLeftOut) {
    const CRunningApp app({{true, L"QlTitleless", L"Titleless"}});
    const CLogLines log;
    const CImportHook failing(
        Program(), "GetWindowTextW", +[](HWND, LPWSTR, int) {
            SetLastError(ERROR_INVALID_WINDOW_HANDLE);
            return 0;
        });
    CRecorder recorder;
    Enumerate(recorder);
    EXPECT_TRUE(recorder.windows.empty());
    EXPECT_NE(nullptr, recorder.Process(app.Id()));
    EXPECT_EQ((CTexts{Searching, SearchingWindows, SearchingProcesses, NoneFound}), LinesOf(log));
}

TEST(EnumeratorFailure, AWindowWhoseClassCannotBeReadIsLeftOutWithAWarning) {
    const CRunningApp app({{true, L"QlClassless", L"Classless"}});
    const HWND window = FindWindowW(L"QlClassless", nullptr);
    ASSERT_TRUE(window);
    const CLogLines log;
    const CImportHook failing(
        Program(), "GetClassNameW", +[](HWND, LPWSTR, int) {
            SetLastError(ERROR_INVALID_WINDOW_HANDLE);
            return 0;
        });
    CRecorder recorder;
    Enumerate(recorder);
    EXPECT_TRUE(recorder.windows.empty());
    std::array<wchar_t, 100> expected{};
    swprintf_s(expected.data(), expected.size(), L"WARN GetClassName() failed for window 0x%08x, error = 1400",
               static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(window)));
    const CTexts lines = log.Of(LoggerName);
    EXPECT_EQ(1, std::count(lines.begin(), lines.end(), expected.data())) << testing::PrintToString(lines);
}

TEST(EnumeratorFailure, FailingEnumerationsAreReportedAndTheSearchGoesOn) {
    const CLogLines log;
    const CImportHook noWindows(
        Program(), "EnumWindows", +[](WNDENUMPROC, LPARAM) -> WINBOOL {
            SetLastError(ERROR_ACCESS_DENIED);
            return FALSE;
        });
    const CImportHook noProcesses(
        Program(), "K32EnumProcesses", +[](DWORD*, DWORD, DWORD*) -> WINBOOL {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return FALSE;
        });
    CRecorder recorder;
    EXPECT_EQ(CIds{}, Enumerate(recorder));
    EXPECT_EQ((CTexts{L"ERROR EnumerateWindows -> EnumWindows() failed, error = 5\n",
                      L"ERROR EnumerateProcessesNT -> EnumProcesses() failed, error = 8", Searching, SearchingWindows,
                      SearchingProcesses, NoneFound}),
              log.Of(LoggerName));
}

TEST(EnumeratorFailure, RecordsGatheredBeforeAFailureStay) {
    const CRunningApp app({{true, L"QlPartly", L"Partly"}});
    static HWND window;
    window = FindWindowW(L"QlPartly", nullptr);
    const CImportHook partly(
        Program(), "EnumWindows", +[](WNDENUMPROC callback, LPARAM context) -> WINBOOL {
            EXPECT_TRUE(callback(window, context));
            // A window or context that is not there stops the enumeration.
            EXPECT_FALSE(callback(nullptr, context));
            EXPECT_FALSE(callback(window, 0));
            SetLastError(ERROR_ACCESS_DENIED);
            return FALSE;
        });
    CDocumentScript script = ScriptForTitle(L"partly");
    EXPECT_EQ(CIds{app.Id()}, script.GetProtectedProcIDs());
}

TEST(EnumeratorFailure, AWindowWithoutAProcessIsStillRecorded) {
    const CRunningApp app({{true, L"QlOrphan", L"Orphan"}});
    const CImportHook orphaned(
        Program(), "GetWindowThreadProcessId", +[](HWND, DWORD*) -> DWORD { return 0; });
    CDocumentScript script = ScriptForTitle(L"orphan");
    EXPECT_EQ(CIds{0}, script.GetProtectedProcIDs());
}

TEST(EnumeratorFailure, RunningOutOfMemoryAmongTheWindowsReachesTheCallerWithTheDesktopGivenBack) {
    const CRunningApp app({{true, L"QlMemory", L"Memory"}});
    const HWINSTA station = GetProcessWindowStation();
    const CImportHook failing(
        Program(), "IsWindowVisible", +[](HWND) -> WINBOOL { throw std::bad_alloc(); });
    CRecorder recorder;
    CProtectedAppEnumerator enumerator(1);
    const CLogLines log;
    EXPECT_THROW(enumerator.GetProtectedApps(&recorder), std::bad_alloc);
    EXPECT_EQ(station, GetProcessWindowStation());
    EXPECT_EQ(CTexts{}, log.Of(LoggerName));
}
