#pragma once

// What the library's runners keep open by design, their threads' handles and their finished events, so that a test can
// close it and then count:
//
//     CRunnersKept kept;
//     ... runners are started and end ...
//     kept.Close();      // waits for their threads
//
// One at a time in a process; made before other hooks of the same functions.

#include "ImportHook.h"

#include <windows.h>

#include <mutex>
#include <vector>

class CRunnersKept {
public:
    CRunnersKept();
    ~CRunnersKept();
    CRunnersKept(const CRunnersKept&) = delete;
    CRunnersKept& operator=(const CRunnersKept&) = delete;

    /// How many runners' handles it closed. Throws std::runtime_error when a thread does not end within a minute.
    std::size_t Close();

private:
    struct CRunner {
        HANDLE thread;
        HANDLE finished;
    };

    static HANDLE WINAPI NoteEvent(LPSECURITY_ATTRIBUTES security, BOOL manual, BOOL signalled, LPCWSTR name);
    static HANDLE WINAPI NoteThread(LPSECURITY_ATTRIBUTES security, SIZE_T stack, LPTHREAD_START_ROUTINE start,
                                    LPVOID parameter, DWORD flags, LPDWORD id);

    CImportHook m_eventHook;
    CImportHook m_threadHook;
    std::mutex m_lock;
    std::vector<CRunner> m_runners;
};
