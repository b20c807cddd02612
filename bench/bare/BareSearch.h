#pragma once

// The calls that one search for an application's processes cannot do without, and nothing else: windows, processes in
// growing lists of 16 more entries each, and of each process once its path and, once for each drive, whether it is on
// the network.

#include "base/UniqueHandle.h"

#include <windows.h>
#include <psapi.h>
#include <winnetwk.h>

#include <map>
#include <string>
#include <vector>

class CBareSearch {
public:
    /// Identifiers and paths of all processes that can be looked at, as the system spells them.
    const std::map<DWORD, std::wstring>& Run() {
        EnumWindows(&OnWindow, reinterpret_cast<LPARAM>(this));
        std::vector<DWORD> identifiers;
        DWORD returned = 0;
        do {
            identifiers.resize(identifiers.size() + 16);
            if (!EnumProcesses(identifiers.data(), static_cast<DWORD>(identifiers.size() * sizeof(DWORD)), &returned))
                return m_processes;
        } while (returned == identifiers.size() * sizeof(DWORD));
        identifiers.resize(returned / sizeof(DWORD));
        for (const DWORD identifier : identifiers)
            Look(identifier);
        return m_processes;
    }

    std::size_t WindowCount() const { return m_windows; }

private:
    static BOOL CALLBACK OnWindow(HWND window, LPARAM search) {
        auto& self = *reinterpret_cast<CBareSearch*>(search);
        if (!IsWindowVisible(window))
            return TRUE;
        wchar_t text[512];
        GetWindowTextW(window, text, static_cast<int>(std::size(text)));
        GetClassNameW(window, text, static_cast<int>(std::size(text)));
        DWORD owner = 0;
        GetWindowThreadProcessId(window, &owner);
        self.Look(owner);
        ++self.m_windows;
        return TRUE;
    }

    void Look(DWORD identifier) {
        if (identifier == 0 || m_processes.contains(identifier))
            return;
        std::wstring& path = m_processes[identifier];
        const CUniqueHandle process(OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, identifier));
        wchar_t buffer[2048];
        if (!process || GetModuleFileNameExW(process.Get(), nullptr, buffer, 2048) == 0)
            return;
        path = buffer;
        const std::wstring drive = path.substr(0, 2);
        if (drive == L"\\\\" || m_drives.contains(drive))
            return;
        wchar_t none = 0;
        DWORD length = 0;
        m_drives[drive] = WNetGetConnectionW(drive.c_str(), &none, &length) == ERROR_MORE_DATA;
    }

    std::map<DWORD, std::wstring> m_processes;
    std::map<std::wstring, bool> m_drives;
    std::size_t m_windows = 0;
};
