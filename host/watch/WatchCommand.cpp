#include "AppsOption.h"
#include "Commands.h"
#include "Console.h"
#include "Duration.h"
#include "SystemText.h"
#include "WatchReport.h"
#include "Watcher.h"
#include "base/UniqueHandle.h"

#include <objbase.h>

#include <algorithm>
#include <filesystem>

namespace {
constexpr const wchar_t* InstanceName = L"Local\\Quorline.Watch";
constexpr DWORD StopMilliseconds = 30'000;

struct CWatchRequest {
    std::wstring appsFile;
    std::string restore = "ask";
    std::wstring checkpoint;
    std::vector<std::wstring> keep;
    std::wstring scriptLimit;
    bool stop = false;
    bool json = false;
};

/// What is told in words or as data, whichever was asked for.
void Tell(const CWatchRequest& request, const char* event, const std::wstring& text) {
    PrintLine(text);
    if (request.json)
        PrintWatchLine(event, "info", {}, text);
}

/// For the window and the shell.
class CWindowApartment {
public:
    CWindowApartment() : m_result(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)) {}
    ~CWindowApartment() {
        if (SUCCEEDED(m_result))
            CoUninitialize();
    }
    CWindowApartment(const CWindowApartment&) = delete;
    CWindowApartment& operator=(const CWindowApartment&) = delete;

private:
    const HRESULT m_result;
};

RestoreMode RestoreModeFrom(const std::string& name) {
    if (name == "always")
        return RestoreMode::Always;
    return name == "never" ? RestoreMode::Never : RestoreMode::Ask;
}

CCheckpointRules RulesFrom(const std::vector<std::wstring>& texts) {
    CCheckpointRules rules;
    for (const auto& text : texts)
        if (!text.empty() && text.size() <= 6 &&
            std::all_of(text.begin(), text.end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; }))
            rules.count = std::stoul(text);
        else
            rules.age = DurationFromText(text);
    return rules;
}

CWatchOptions OptionsFrom(const CWatchRequest& request) {
    CWatchOptions options;
    options.appsFile = std::filesystem::absolute(AppsFileOf(request.appsFile)).wstring();
    options.isAppsFileNamed = !request.appsFile.empty();
    options.restore = RestoreModeFrom(request.restore);
    options.keep = RulesFrom(request.keep);
    if (!request.checkpoint.empty())
        options.checkpoint = DurationFromText(request.checkpoint);
    if (!request.scriptLimit.empty())
        options.scriptLimit = DurationFromText(request.scriptLimit);
    return options;
}

ExitCode StopWatching(const CWatchRequest& request) {
    HWND window = FindWindowW(CWatchWindow::ClassName, nullptr);
    if (window == nullptr) {
        Tell(request, "not-watched", L"nobody watches this session");
        return ExitCode::Done;
    }
    DWORD id = 0;
    GetWindowThreadProcessId(window, &id);
    const CUniqueHandle process(OpenProcess(SYNCHRONIZE, FALSE, id));
    PostMessageW(window, WM_CLOSE, 0, 0);
    if (process && WaitForSingleObject(process.Get(), StopMilliseconds) != WAIT_OBJECT_0)
        throw CCommandError(ExitCode::Failed, L"the program that watches this session does not end; sign out, or end "
                                              L"process " +
                                                  std::to_wstring(id) + L".");
    Tell(request, "stopped", L"the session is watched no more");
    return ExitCode::Done;
}

ExitCode RunWatch(const CWatchRequest& request) {
    if (request.stop)
        return StopWatching(request);
    const CWatchOptions options = OptionsFrom(request);
    const CUniqueHandle instance(CreateMutexW(nullptr, FALSE, InstanceName));
    if (!instance || GetLastError() == ERROR_ALREADY_EXISTS) {
        Tell(request, "watched-already", L"this session is watched already");
        return ExitCode::Done;
    }
    const CWindowApartment apartment;
    EnsureEventSource();
    if (request.json)
        PrintWatchEvents();
    try {
        CWatcher watcher(options);
        PrintLine(L"watching this session; '" + options.appsFile + L"' lists the protected applications");
        // What a save prints is for somebody who waits for it.
        SetConsole({"quorline", false});
        watcher.Run();
    } catch (const CCommandError& error) {
        // Started at logon, it has nobody to read what it prints.
        ReportWatchEvent(EVENT_TROUBLE, {error.GetText()});
        throw;
    }
    return ExitCode::Done;
}
} // namespace

void AddWatch(CCommandLine& line) {
    const auto request = std::make_shared<CWatchRequest>();
    CLI::App& command = line.Add({"watch",
                                  "Stay, and save before the session ends and before the machine is suspended",
                                  {"watch", "watch --checkpoint 15m --keep 5 2d", "watch --stop"},
                                  {ExitCode::Done, ExitCode::Failed},
                                  R"({"event", "severity": "info", "warning" or "error", "values": [], "text"},)"
                                  R"( a line for each event)"},
                                 [=](const CCommonOptions& options) {
                                     request->json = options.json;
                                     return RunWatch(*request);
                                 });
    AddAppsOption(command, request->appsFile);
    command.add_option("--restore", request->restore, "What to do with documents that were not recovered")
        ->check(CLI::IsMember({"ask", "always", "never"}))
        ->capture_default_str();
    AddText(command, "--checkpoint", request->checkpoint, "How often to save while nothing ends, such as 15m");
    AddTexts(command, "--keep", request->keep, "How many checkpoints to keep, and for how long (5 2d)")->expected(1, 2);
    AddText(command, "--script-timeout", request->scriptLimit, "How long one script may take (60s)");
    command.add_flag("--stop", request->stop, "End the program that watches this session");
}
