#pragma once

// Applications that run until the object goes: copies of one small program under names of their own.

#include "ChildProgram.h"

#include <vector>

class CApplications {
public:
    CApplications()
        : m_name(L"QuorlineBench-" + std::to_wstring(GetCurrentProcessId())),
          m_end(CreateEventW(nullptr, TRUE, FALSE, m_name.c_str())),
          m_ready(CreateSemaphoreW(nullptr, 0, 1000, (m_name + L"-ready").c_str())) {}
    ~CApplications() { EndAll(); }
    CApplications(const CApplications&) = delete;
    CApplications& operator=(const CApplications&) = delete;

    static std::wstring NameOf(int number) { return L"benchapp" + std::to_wstring(number) + L".exe"; }

    /// So many processes in all, by turns of this many applications; each of the first `withWindows` shows 5 windows.
    void Start(int processes, int applications, int withWindows = 0) {
        EndAll();
        for (int i = 0; i < applications; ++i)
            CopyFileW((ProgramFolder() + L"\\bench-application.exe").c_str(), m_folder.Path(NameOf(i)).c_str(), FALSE);
        for (int i = 0; i < processes; ++i) {
            PROCESS_INFORMATION started{};
            const std::wstring line = L"\"" + m_folder.Path(NameOf(i % applications)) + L"\" " + m_name +
                                      (i < withWindows ? L" 5 " : L" 0 ") + std::to_wstring(GetCurrentProcessId());
            if (!StartProcess(line, started))
                throw std::runtime_error("an application could not be started");
            const CUniqueHandle thread(started.hThread);
            m_processes.emplace_back(started.hProcess);
            if (WaitForSingleObject(m_ready.Get(), 60'000) != WAIT_OBJECT_0)
                throw std::runtime_error("an application did not come up");
        }
    }

private:
    void EndAll() {
        SetEvent(m_end.Get());
        for (const CUniqueHandle& process : m_processes)
            WaitForSingleObject(process.Get(), 60'000);
        m_processes.clear();
        ResetEvent(m_end.Get());
    }

    CTempFolder m_folder;
    std::wstring m_name;
    CUniqueHandle m_end;
    CUniqueHandle m_ready;
    std::vector<CUniqueHandle> m_processes;
};
