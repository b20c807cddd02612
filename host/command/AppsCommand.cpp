#include "AppsOption.h"
#include "Commands.h"
#include "JsonText.h"
#include "RunningApps.h"

#include <algorithm>
#include <set>

namespace {
using nlohmann::ordered_json;

struct CAppsRequest {
    std::wstring appsFile;
    std::wstring state;
    std::wstring process;
};

std::wstring NameOf(const CRunningApps& running, unsigned long processId) {
    for (const auto& process : running.processes)
        if (process.m_processId == processId)
            return process.m_imageName;
    return L"a process that could not be examined";
}

/// A process or a window that a pattern takes.
struct CMatch {
    unsigned long processId;
    std::wstring image;
    const CWindowInfo* window; ///< null for a process
    CPattern pattern;
    bool network;

    std::wstring Describe() const {
        std::wstring text = window == nullptr ? L"process " : L"window of process ";
        text += std::to_wstring(processId) + L", " + image;
        if (window != nullptr)
            text += L", '" + window->m_title + L"' of class '" + window->m_className + L"'";
        text += std::wstring(L", by ") + pattern.KindName() + L" '" + pattern.text + L"'";
        return network ? text + L", on a network drive" : text;
    }

    ordered_json Json() const {
        ordered_json match{{"process", processId}, {"image", ToUtf8(image)}};
        if (window != nullptr)
            match["window"] = {{"title", ToUtf8(window->m_title)}, {"class", ToUtf8(window->m_className)}};
        match["pattern"] = {{"kind", ToUtf8(pattern.KindName())}, {"text", ToUtf8(pattern.text)}};
        match["network"] = network;
        return match;
    }
};

std::vector<CMatch> FindMatches(const CAppEntry& app, const CRunningApps& running) {
    std::vector<CMatch> matches;
    for (const CPattern& pattern : PatternsOf(app)) {
        for (const auto& process : running.processes)
            if (pattern.Matches(process))
                matches.push_back({process.m_processId, process.m_imageName, nullptr, pattern, process.m_network});
        for (const auto& window : running.windows)
            if (pattern.Matches(window))
                matches.push_back(
                    {window.m_processId, NameOf(running, window.m_processId), &window, pattern, window.m_network});
    }
    return matches;
}

std::set<unsigned long> ProcessesOf(const std::vector<CMatch>& matches) {
    std::set<unsigned long> processes;
    for (const CMatch& match : matches)
        processes.insert(match.processId);
    return processes;
}

/// Why the save script would not run for the state, whatever runs; empty when it would.
std::wstring WhyNotFor(const CAppEntry& app, _STATE_CHANGE_TYPE state) {
    if ((app.stateChanges & state) == 0)
        return L"the entry's 'stateChanges' do not name it";
    if ((state & (Standby | Hibernate | Shutdown)) == 0)
        return L"scripts run before standby, hibernate and shutdown alone";
    return {};
}

/// What would run for the state: the save script, once for each process.
ordered_json ShowRuns(const CAppEntry& app, const std::set<unsigned long>& processes, const std::wstring& state) {
    std::wstring whyNot = WhyNotFor(app, StateChangeFromName(state));
    const bool runs = whyNot.empty();
    if (runs && processes.empty())
        whyNot = L"it is not running";
    if (!whyNot.empty())
        PrintLine(L"  nothing would run for " + state + L": " + whyNot);
    else
        for (const unsigned long process : processes)
            PrintLine(L"  would run " + app.saveScript + L" for process " + std::to_wstring(process));
    return runs ? ordered_json(processes) : ordered_json::array();
}

ordered_json ShowApps(const CAppsRequest& request, const std::vector<CAppEntry>& apps, const CRunningApps& running) {
    auto list = ordered_json::array();
    for (const CAppEntry& app : apps) {
        const auto matches = FindMatches(app, running);
        PrintLine(app.friendlyName + (matches.empty() ? L": not running" : L""));
        ordered_json entry{{"application", ToUtf8(app.friendlyName)}, {"matches", ordered_json::array()}};
        for (const CMatch& match : matches) {
            PrintLine(L"  " + match.Describe());
            entry["matches"].push_back(match.Json());
        }
        if (!request.state.empty()) {
            entry["saveScript"] = ToUtf8(app.saveScript);
            entry["wouldRunFor"] = ShowRuns(app, ProcessesOf(matches), request.state);
        }
        list.push_back(std::move(entry));
    }
    return {{"applications", std::move(list)}};
}

/// By its number or its file name, with or without the extension.
bool IsCalled(const CProcessInfo& process, const std::wstring& name) {
    const std::wstring& image = process.m_imageName;
    return std::to_wstring(process.m_processId) == name || _wcsicmp(image.c_str(), name.c_str()) == 0 ||
           _wcsicmp(image.substr(0, image.find_last_of(L'.')).c_str(), name.c_str()) == 0;
}

/// Each window of the process beside what a pattern asks for.
ordered_json ExplainWindows(const CPattern& pattern, const std::vector<const CWindowInfo*>& windows) {
    const std::wstring asked = std::wstring(L"    ") + pattern.KindName() + L" '" + pattern.text + L"' ";
    if (windows.empty())
        PrintLine(asked + L"does not match: the process has no visible window");
    bool matches = false;
    for (const CWindowInfo* window : windows) {
        const bool one = pattern.Matches(*window);
        matches = matches || one;
        const std::wstring& text = pattern.kind == PatternKind::WindowTitle ? window->m_title : window->m_className;
        std::wstring told = asked + (one ? L"matches '" : L"does not match '");
        PrintLine(told.append(text).append(L"'"));
    }
    return {{"kind", ToUtf8(pattern.KindName())}, {"text", ToUtf8(pattern.text)}, {"matches", matches}};
}

ordered_json Explain(const CPattern& pattern, const CProcessInfo& process,
                     const std::vector<const CWindowInfo*>& windows) {
    if (pattern.kind != PatternKind::Executable)
        return ExplainWindows(pattern, windows);
    const bool matches = pattern.Matches(process);
    PrintLine(std::wstring(L"    executable '") + pattern.text + (matches ? L"' matches '" : L"' does not match '") +
              process.m_imageName + L"'");
    return {{"kind", "executable"}, {"text", ToUtf8(pattern.text)}, {"matches", matches}};
}

ordered_json ShowWhy(const std::wstring& name, const std::vector<CAppEntry>& apps, const CRunningApps& running) {
    auto list = ordered_json::array();
    for (const auto& process : running.processes) {
        if (!IsCalled(process, name))
            continue;
        std::vector<const CWindowInfo*> windows;
        for (const auto& window : running.windows)
            if (window.m_processId == process.m_processId)
                windows.push_back(&window);
        PrintLine(L"process " + std::to_wstring(process.m_processId) + L", " + process.m_imageName);
        ordered_json entry{{"process", process.m_processId},
                           {"image", ToUtf8(process.m_imageName)},
                           {"applications", ordered_json::array()}};
        for (const CAppEntry& app : apps) {
            PrintLine(L"  " + app.friendlyName);
            ordered_json patterns = ordered_json::array();
            for (const CPattern& pattern : PatternsOf(app))
                patterns.push_back(Explain(pattern, process, windows));
            entry["applications"].push_back(
                {{"application", ToUtf8(app.friendlyName)}, {"patterns", std::move(patterns)}});
        }
        list.push_back(std::move(entry));
    }
    if (list.empty())
        throw CCommandError(ExitCode::BadInput, L"no process '" + name +
                                                    L"' runs that this user may examine; name it by its number or its "
                                                    L"file name, such as notepad.exe.");
    return {{"processes", std::move(list)}};
}

ExitCode RunApps(const CAppsRequest& request, bool asJson) {
    const std::wstring file = AppsFileOf(request.appsFile);
    if (!request.state.empty())
        StateChangeFromName(request.state);
    const auto apps = ParseAppsText(ReadAppsBytes(file), file);
    const CRunningApps running = CRunningApps::Look();
    const ordered_json answer =
        request.process.empty() ? ShowApps(request, apps, running) : ShowWhy(request.process, apps, running);
    if (asJson)
        PrintJson(answer);
    return ExitCode::Done;
}
} // namespace

void AddApps(CCommandLine& line) {
    const auto request = std::make_shared<CAppsRequest>();
    CLI::App& command = line.Add(
        {"apps",
         "Show what runs of the protected applications, and by which pattern it is known",
         {"apps", "apps --state hibernate", "apps --why notepad.exe --apps apps.json"},
         {ExitCode::Done, ExitCode::Failed},
         R"({"applications": [{"application", "matches": [{"process", "image", "window": {"title", "class"},)"
         R"( "pattern": {"kind", "text"}, "network"}], with --state: "saveScript", "wouldRunFor"}]}; with --why:)"
         R"( {"processes": [{"process", "image", "applications": [{"application", "patterns": [{"kind",)"
         R"( "text", "matches"}]}]}]})"},
        [request](const CCommonOptions& options) { return RunApps(*request, options.json); });
    AddAppsOption(command, request->appsFile);
    CLI::Option* state =
        AddText(command, "--state", request->state, "Say also what would run for this state, such as hibernate");
    AddText(command, "--why", request->process,
            "Tell for each pattern why it takes this process, a number or a file name, or does not")
        ->excludes(state);
}
