#pragma once

// What the enumerator says, and a matcher that keeps what it is shown.

#include "ScriptExecution/DocumentScript.h"
#include "protection/ProtectedAppMatcher.h"
#include "protection/ProtectedAppEnumerator.h"

#include "LogLines.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <string>
#include <vector>

using CIds = std::set<unsigned long>;

inline const wchar_t* const LoggerName = L"ApplicationProtection.CProtectedAppEnumerator";

inline const std::wstring Searching =
    L"INFO GetProtectedApps -> Protecting only specified applications, searching for applications to protect";
inline const std::wstring SearchingWindows = L"DEBUG GetProtectedApps -> Searching for windows to protect...";
inline const std::wstring SearchingProcesses = L"DEBUG GetProtectedApps -> Searching for processes to protect...";
inline const std::wstring NoneFound = L"INFO GetProtectedApps -> No protected applications were found";

inline std::wstring FoundCount(std::size_t count) {
    return L"INFO GetProtectedApps -> Found " + std::to_wstring(count) + L" protected apps running";
}
inline std::wstring FoundWindow(const std::wstring& title, const std::wstring& className) {
    return L"INFO GetProtectedApps -> Found an open application to protect with window title '" + title +
           L"' and class '" + className + L"'";
}
inline std::wstring FoundProcess(const std::wstring& name) {
    return L"INFO GetProtectedApps -> Found an open application to protect with process '" + name + L"'";
}

/// Keeps what it is shown and protects nothing, or what the test chose.
class CRecorder final : public IProtectedAppMatcher {
public:
    bool IsMatchingProcess(const CProcessInfo& process) const override {
        processes.push_back(process);
        return protectedIds.contains(process.m_processId);
    }
    bool IsMatchingWindow(const CWindowInfo& window) const override {
        windows.push_back(window);
        return false;
    }

    const CProcessInfo* Process(DWORD id) const {
        const auto found = std::find_if(processes.begin(), processes.end(),
                                        [id](const CProcessInfo& process) { return process.m_processId == id; });
        return found == processes.end() ? nullptr : &*found;
    }
    std::vector<CWindowInfo> WindowsOf(DWORD id) const {
        std::vector<CWindowInfo> own;
        std::copy_if(windows.begin(), windows.end(), std::back_inserter(own),
                     [id](const CWindowInfo& window) { return window.m_processId == id; });
        return own;
    }

    CIds protectedIds;
    mutable std::vector<CProcessInfo> processes;
    mutable std::vector<CWindowInfo> windows;
};

inline CIds Enumerate(IProtectedAppMatcher& matcher, int callerIsUser = 1) {
    return CProtectedAppEnumerator(callerIsUser).GetProtectedApps(&matcher);
}

/// The lines of one search without the warnings about the machine's own processes.
inline CTexts LinesOf(const CLogLines& log) {
    CTexts lines = log.Of(LoggerName);
    std::erase_if(lines, [](const std::wstring& line) { return line.starts_with(L"WARN "); });
    return lines;
}

inline CDocumentScript ScriptForTitle(const std::wstring& pattern) {
    CDocumentScript script;
    script.AddWindowTitle(pattern);
    return script;
}
