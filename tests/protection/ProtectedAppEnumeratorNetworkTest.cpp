// Runs in a prefix in which Y: is a mapped drive of \\quorline\apps. Proves IsNetworkPath of
// protection/ProtectedAppEnumerator.

#include "protection/ProtectedAppEnumerator.h"

#include "ScriptExecution/DocumentScript.h"

#include "ChildProgram.h"
#include "ImportHook.h"
#include "LogLines.h"
#include "RunningApp.h"
#include "SecurityTestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <psapi.h>
#include <winnetwk.h>

#include <array>
#include <memory>
#include <set>
#include <string>

namespace {
using CIds = std::set<unsigned long>;

std::wstring FoundNetworkApp(const std::wstring& name) {
    return L"INFO GetProtectedApps -> Found an open network application '" + name + L"' to protect";
}

CTexts FoundLines(const CLogLines& log) {
    CTexts lines = log.Of(L"ApplicationProtection.CProtectedAppEnumerator");
    std::erase_if(lines, [](const std::wstring& line) { return line.find(L"Found an open ") == line.npos; });
    return lines;
}

class CAllWindows final : public IProtectedAppMatcher {
public:
    bool IsMatchingProcess(const CProcessInfo& process) const override {
        processes.insert({process.m_processId, process.m_network});
        return true;
    }
    bool IsMatchingWindow(const CWindowInfo& window) const override {
        windows.insert({window.m_processId, window.m_network});
        return false;
    }
    mutable std::set<std::pair<unsigned long, bool>> windows;
    mutable std::set<std::pair<unsigned long, bool>> processes;
};

/// What the system answers for the path of each process.
std::wstring g_pathForAll;
DWORD TellPath(HANDLE, HMODULE, LPWSTR buffer, DWORD) {
    std::copy(g_pathForAll.begin(), g_pathForAll.end() + 1, buffer);
    return static_cast<DWORD>(g_pathForAll.size());
}
} // namespace

TEST(NetworkDrive, TheDriveOfThisPrefixIsMapped) {
    DWORD length = 0;
    std::array<wchar_t, 1> none{};
    EXPECT_EQ(DWORD{ERROR_MORE_DATA}, WNetGetConnectionW(L"Y:", none.data(), &length));
}

TEST(NetworkDrive, AnExecutableOnAMappedDriveIsReportedAsANetworkApplicationAndProtected) {
    const CAppCopy program(L"Y:\\QlMapped.exe");
    const CRunningApp app({{true, L"QlMapped", L"Mapped"}}, {program.Path()});
    for (const int callerIsUser : {1, 0}) {
        const CLogLines log;
        CDocumentScript script;
        script.AddExe(L"QLMAPPED.EXE");
        EXPECT_EQ(CIds{app.Id()}, CProtectedAppEnumerator(callerIsUser).GetProtectedApps(&script));
        EXPECT_EQ((CTexts{FoundNetworkApp(L"QLMAPPED.EXE")}), FoundLines(log));
        EXPECT_FALSE(IsThreadImpersonating());
    }
}

TEST(NetworkDrive, AWindowCarriesItsProcessesNetworkFlag) {
    const CAppCopy program(L"Y:\\QlWindow.exe");
    const CRunningApp remote({{true, L"QlRemote", L"Remote"}}, {program.Path()});
    const CRunningApp local({{true, L"QlLocal", L"Local"}});
    CAllWindows all;
    CProtectedAppEnumerator(1).GetProtectedApps(&all);
    EXPECT_TRUE(all.windows.contains({remote.Id(), true}));
    EXPECT_TRUE(all.windows.contains({local.Id(), false}));
    EXPECT_TRUE(all.processes.contains({remote.Id(), true}));
    EXPECT_TRUE(all.processes.contains({local.Id(), false}));
}

TEST(NetworkDrive, TheCommandMarksWhatRunsFromIt) {
    const CAppCopy program(L"Y:\\QlMarked.exe");
    const CRunningApp app({{true, L"QlMarked", L"Marked"}}, {program.Path()});
    const CTempFolder folder;
    const std::wstring apps = folder.Write(L"apps.json", R"({"applications":[{"friendlyName":"Marked","executables":[
        "qlmarked.exe"],"windowClasses":["QlMarked"],"stateChanges":["hibernate"],"saveScript":"save.vbs"}]})");
    const CProgramResult result = RunQuorline(L"apps --apps \"" + apps + L"\"");
    EXPECT_EQ(0u, result.exitCode) << result.err;
    const std::string process = "process " + std::to_string(app.Id()) + ", QLMARKED.EXE";
    EXPECT_THAT(result.out, testing::HasSubstr("  " + process + ", by executable 'qlmarked.exe', on a network drive"));
    EXPECT_THAT(result.out, testing::HasSubstr("  window of " + process +
                                               ", 'MARKED' of class 'QLMARKED', by window class 'QlMarked', on a "
                                               "network drive"));
    EXPECT_THAT(RunQuorline(L"apps --json --apps \"" + apps + L"\"").out, testing::HasSubstr("\"network\": true"));
}

TEST(NetworkDrive, AnExecutableOfAUncPathIsProtected) {
    const CAppCopy program(L"\\\\quorline\\apps\\QlUnc.exe");
    const CRunningApp app({}, {program.Path()});
    CDocumentScript script;
    script.AddExe(L"QLUNC.EXE");
    EXPECT_EQ(CIds{app.Id()}, script.GetProtectedProcIDs());
}

TEST(NetworkDrive, APathTellsWhetherItIsANetworkPath) {
    const CRunningApp app;
    const struct {
        const wchar_t* path;
        const wchar_t* name;
        bool network;
    } cases[] = {
        {L"\\\\quorline\\apps\\Unc.exe", L"UNC.EXE", true},
        {L"\\\\", L"", true},
        {L"Y:\\Mapped.exe", L"MAPPED.EXE", true},
        {L"y:\\dir\\mapped", L"MAPPED", true},
        {L"Y:", L"", true},
        {L"C:\\Local.exe", L"LOCAL.EXE", false},
        {L"Z:\\Local.exe", L"LOCAL.EXE", false},
        {L"Q:\\NoSuchDrive.exe", L"NOSUCHDRIVE.EXE", false},
        {L"Y:Relative.exe", L"RELATIVE.EXE", false},
        {L"UNC\\quorline\\apps\\a.exe", L"A.EXE", false},
        {L"\\Device\\a.exe", L"A.EXE", false},
        {L"Y", L"Y", false},
    };
    const CImportHook telling(Program(), "K32GetModuleFileNameExW", &TellPath);
    for (const auto& each : cases)
        for (const int callerIsUser : {1, 0}) {
            SCOPED_TRACE(testing::PrintToString(std::wstring(each.path)));
            g_pathForAll = each.path;
            const CLogLines log;
            CAllWindows all;
            CProtectedAppEnumerator(callerIsUser).GetProtectedApps(&all);
            EXPECT_TRUE(all.processes.contains({app.Id(), each.network}));
            const std::wstring expected =
                each.network ? FoundNetworkApp(each.name)
                             : std::wstring(L"INFO GetProtectedApps -> Found an open application to protect with "
                                            L"process '") +
                                   each.name + L"'";
            ASSERT_FALSE(FoundLines(log).empty());
            EXPECT_EQ(expected, FoundLines(log).front());
        }
}

TEST(NetworkDrive, ADirectoryOfAnyLengthLeavesTheImageName) {
    g_pathForAll = L"C:\\" + std::wstring(1000, L'd') + L"\\" + std::wstring(1000, L'e') + L"\\Deep.exe";
    const CImportHook telling(Program(), "K32GetModuleFileNameExW", &TellPath);
    CDocumentScript script;
    script.AddExe(L"DEEP.EXE");
    EXPECT_TRUE(script.GetProtectedProcIDs().contains(GetCurrentProcessId()));
}

TEST(NetworkDrive, OnlyACallerThatIsNotTheUserImpersonatesTheOwnerAroundTheLookUp) {
    static int lookUps;
    static int impersonated;
    const CImportHook watching(
        Program(), "WNetGetConnectionW", +[](LPCWSTR, LPWSTR, LPDWORD) -> DWORD {
            ++lookUps;
            impersonated += IsThreadImpersonating() ? 1 : 0;
            return ERROR_NOT_CONNECTED;
        });
    for (const int callerIsUser : {1, 0, -1}) {
        lookUps = impersonated = 0;
        CAllWindows all;
        CProtectedAppEnumerator(callerIsUser).GetProtectedApps(&all);
        EXPECT_GT(lookUps, 0);
        EXPECT_EQ(callerIsUser == 0 ? lookUps : 0, impersonated);
        EXPECT_FALSE(IsThreadImpersonating());
    }
}

TEST(NetworkDrive, AFailedImpersonationLeavesTheLookUpInTheCallersContext) {
    const CAppCopy program(L"Y:\\QlContext.exe");
    const CRunningApp app({}, {program.Path()});
    const CImportHook failing(
        Program(), "ImpersonateLoggedOnUser", +[](HANDLE) { return FALSE; });
    CAllWindows all;
    CProtectedAppEnumerator(0).GetProtectedApps(&all);
    EXPECT_TRUE(all.processes.contains({app.Id(), true}));
}
