#pragma once

// Finds which running processes belong to a protected application: a snapshot of the interactive desktop's visible
// top-level windows and of all processes is shown to a matcher. Make one for one call, on the thread that needs it.

#include "protection/ProcessInfo.h"
#include "protection/WindowInfo.h"

#include <windows.h>

#include <log4cxx/logger.h>

#include <exception>
#include <list>
#include <map>
#include <set>
#include <string>

class IProtectedAppMatcher;

class CProtectedAppEnumerator {
public:
    /// callerIsUser is non-zero when the calling thread runs as the interactive user already, so that drives can be
    /// looked up without impersonating the owner of each process.
    explicit CProtectedAppEnumerator(int callerIsUser) noexcept : m_callerIsUser(callerIsUser) {}

    /// The identifiers of the processes that the matcher recognises by a window or by the image name. Processes and
    /// windows that the system does not let us examine are logged and left out; only what the matcher or a container
    /// throws is thrown. The whole process is on the interactive window station while windows are listed.
    std::set<unsigned long> GetProtectedApps(IProtectedAppMatcher* matcher);

private:
    void EnumerateWindows();
    void EnumerateProcesses();
    CProcessInfo GetProcessInfo(unsigned long pid);
    CProcessInfo AskProcess(unsigned long pid);
    void AddWindow(HWND window);

    static BOOL CALLBACK WindowCallback(HWND window, LPARAM enumerator) noexcept;
    bool IsNetworkPath(const wchar_t* path, HANDLE process);
    bool IsNetworkDrive(const std::wstring& drive, HANDLE process) const;

    static log4cxx::LoggerPtr SDGetLogger();
    static void Log(log4cxx::LevelPtr level, std::wstring format, ...);
    static void Log(log4cxx::LevelPtr level, const wchar_t* format, ...);

    std::list<CWindowInfo> m_windows;
    std::list<CProcessInfo> m_processes;
    // What the search has been told already, for the length of one: a process that has many windows is asked once, and
    // so is a drive that many processes were started from.
    std::map<unsigned long, CProcessInfo> m_knownProcesses;
    std::map<std::wstring, bool> m_knownDrives;
    int m_callerIsUser;
    std::exception_ptr m_callbackFailure; ///< carried past the system's frames between callback and caller
};
