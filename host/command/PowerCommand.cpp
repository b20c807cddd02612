#include "AppsOption.h"
#include "Commands.h"
#include "Console.h"
#include "LimitOptions.h"
#include "SaveRequest.h"
#include "SystemText.h"
#include "base/UniqueHandle.h"

#include <windows.h>

#include <powrprof.h>

namespace {
struct CPowerState {
    const char* name;
    const char* purpose;
    const char* example;
    bool (*enter)();
};

/// Windows wants it switched on before it goes down, though every user at the machine has it.
bool TakeShutdownPrivilege() {
    CUniqueHandle token;
    TOKEN_PRIVILEGES privileges{};
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    return OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, token.Put()) &&
           LookupPrivilegeValueW(nullptr, SE_SHUTDOWN_NAME, &privileges.Privileges[0].Luid) &&
           AdjustTokenPrivileges(token.Get(), FALSE, &privileges, 0, nullptr, nullptr) &&
           GetLastError() == ERROR_SUCCESS;
}

bool Suspend(bool hibernate) {
    return TakeShutdownPrivilege() && SetSuspendState(hibernate ? TRUE : FALSE, FALSE, FALSE) != FALSE;
}

constexpr CPowerState States[] = {
    {"standby", "Save, and then put the machine to standby unless a script vetoes it", "standby",
     [] { return Suspend(false); }},
    {"hibernate", "Save, and then hibernate the machine unless a script vetoes it", "hibernate --apps apps.json",
     [] { return Suspend(true); }},
    {"shutdown", "Save, and then shut the machine down unless a script vetoes it", "shutdown --dry-run",
     [] {
         return TakeShutdownPrivilege() && ExitWindowsEx(EWX_SHUTDOWN | EWX_POWEROFF,
                                                         SHTDN_REASON_MAJOR_OTHER | SHTDN_REASON_FLAG_PLANNED) != FALSE;
     }},
};

/// "Access denied (error 5); ...", with what to do about it.
std::wstring DescribeRefusal(DWORD error) {
    return DescribeCode(error) +
           (error == ERROR_NOT_ALL_ASSIGNED
                ? L"; this user has no right to shut the machine down, ask an administrator for it"
                : L"; 'powercfg /a' tells which states this machine has");
}

struct CPowerRequest {
    CSaveRequest save;
    CWorkerLimits limits;
    bool dryRun = false;
};

ExitCode RunPower(const CPowerState& state, const CPowerRequest& request) {
    const std::wstring& name = request.save.state;
    const ExitCode saved = RunSave(request.save, request.limits);
    if (saved != ExitCode::Done && saved != ExitCode::Unwritten)
        return saved;
    if (request.dryRun) {
        PrintLine(L"dry run    Windows is not asked for " + name);
        return saved;
    }
    PrintLine(L"asking     Windows for " + name);
    if (!state.enter())
        throw CCommandError(ExitCode::Failed, L"everything is saved, but Windows refuses " + name + L": " +
                                                  DescribeRefusal(GetLastError()));
    return saved;
}
} // namespace

void AddPower(CCommandLine& line) {
    for (const CPowerState& state : States) {
        const auto request = std::make_shared<CPowerRequest>();
        request->save.state = FromUtf8(state.name);
        CLI::App& command = line.Add(
            {state.name,
             state.purpose,
             {state.example},
             {ExitCode::Done, ExitCode::Failed, ExitCode::Vetoed, ExitCode::NotRegistered, ExitCode::Unwritten},
             R"({"state", "store", "documents": [{"path", "written"}], "troubles": [], "vetoed"}, as of save)"},
            [&state, request](const CCommonOptions& options) {
                request->save.json = options.json;
                return RunPower(state, *request);
            });
        AddAppsOption(command, request->save.appsFile);
        AddLimits(command, request->limits);
        command.add_flag("--dry-run", request->dryRun, "Save, but do not ask Windows");
    }
}
