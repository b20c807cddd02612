#pragma once

// Processes that a test did not start itself.

#include "base/UniqueHandle.h"

#include <windows.h>
#include <tlhelp32.h>

#include <functional>

inline CUniqueHandle FindProcess(const std::function<bool(const PROCESSENTRY32W&)>& matches) {
    const CUniqueHandle all(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    for (BOOL found = Process32FirstW(all.Get(), &entry); found; found = Process32NextW(all.Get(), &entry))
        if (matches(entry))
            return CUniqueHandle(OpenProcess(PROCESS_ALL_ACCESS, FALSE, entry.th32ProcessID));
    return {};
}

inline ULONGLONG BeginOf(HANDLE process) {
    FILETIME begin{}, end{}, kernel{}, user{};
    GetProcessTimes(process, &begin, &end, &kernel, &user);
    return (ULONGLONG{begin.dwHighDateTime} << 32) + begin.dwLowDateTime;
}

/// The worker that a command has started; empty when there is none. A console's host may be another child, and the
/// command may have the number of one that is gone, whose children still run.
inline CUniqueHandle WorkerOf(HANDLE command) {
    const DWORD parent = GetProcessId(command);
    return FindProcess([parent, command](const PROCESSENTRY32W& entry) {
        if (entry.th32ParentProcessID != parent || _wcsicmp(entry.szExeFile, L"quorline.exe") != 0)
            return false;
        const CUniqueHandle child(OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, entry.th32ProcessID));
        return child && BeginOf(child.Get()) >= BeginOf(command);
    });
}

/// A process by the name of its program.
inline CUniqueHandle ProcessNamed(const wchar_t* name) {
    return FindProcess([name](const PROCESSENTRY32W& entry) { return _wcsicmp(entry.szExeFile, name) == 0; });
}
