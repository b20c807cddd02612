// What one search asks the system: everything once, and the next search everything again. Proves
// ProtectedAppEnumerator.

#include "EnumeratorSupport.h"
#include "ImportHook.h"
#include "RunningApp.h"
#include "SecurityTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

namespace {
std::map<DWORD, int> g_asked; ///< how often each process was asked for its path
std::map<std::wstring, int> g_drives;

/// The function itself, behind the hook that counts.
template <class Function> Function* Real(const wchar_t* dll, const char* name) {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(dll), name)));
}

DWORD WINAPI CountProcess(HANDLE process, HMODULE module, LPWSTR path, DWORD size) {
    ++g_asked[GetProcessId(process)];
    return Real<decltype(CountProcess)>(L"kernel32.dll", "K32GetModuleFileNameExW")(process, module, path, size);
}

DWORD WINAPI CountDrive(LPCWSTR drive, LPWSTR name, LPDWORD length) {
    ++g_drives[drive];
    return Real<decltype(CountDrive)>(L"mpr.dll", "WNetGetConnectionW")(drive, name, length);
}

class SearchCalls : public testing::Test {
protected:
    SearchCalls() {
        g_asked.clear();
        g_drives.clear();
    }

    void Search(int callerIsUser) {
        CRecorder recorder;
        CProtectedAppEnumerator(callerIsUser).GetProtectedApps(&recorder);
        EXPECT_EQ(3U, recorder.WindowsOf(app.Id()).size());
        ASSERT_NE(nullptr, recorder.Process(app.Id()));
        EXPECT_EQ(L"TESTAPP.EXE", recorder.Process(app.Id())->m_imageName);
    }

    const CRunningApp app{{{true, L"QlOne", L"One"}, {true, L"QlTwo", L"Two"}, {true, L"QlThree", L"Three"}}};
};
} // namespace

TEST_F(SearchCalls, AProcessWithSeveralWindowsIsAskedOnceASearch) {
    const CImportHook counting(Program(), "K32GetModuleFileNameExW", &CountProcess);
    Search(1);
    EXPECT_EQ(1, g_asked[app.Id()]);
    Search(1);
    EXPECT_EQ(2, g_asked[app.Id()]);
}

TEST_F(SearchCalls, ADriveIsAskedAboutOnceASearch) {
    const CImportHook counting(Program(), "WNetGetConnectionW", &CountDrive);
    Search(1);
    ASSERT_FALSE(g_drives.empty());
    for (const auto& [drive, times] : g_drives)
        EXPECT_EQ(1, times) << testing::PrintToString(drive);
    Search(1);
    for (const auto& [drive, times] : g_drives)
        EXPECT_EQ(2, times) << testing::PrintToString(drive);
}

TEST_F(SearchCalls, ForEachOwnerADriveIsAskedAboutAnew) {
    const CImportHook counting(Program(), "WNetGetConnectionW", &CountDrive);
    Search(0);
    int most = 0;
    for (const auto& [drive, times] : g_drives)
        most = std::max(most, times);
    EXPECT_LT(1, most);
}
