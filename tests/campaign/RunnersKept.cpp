#include "RunnersKept.h"

#include <stdexcept>

namespace {
CRunnersKept* g_kept = nullptr;
thread_local HANDLE t_lastEvent = nullptr; ///< the finished one, when a thread follows
} // namespace

CRunnersKept::CRunnersKept()
    : m_eventHook(GetModuleHandleW(L"Quorline.dll"), "CreateEventW", &NoteEvent),
      m_threadHook(GetModuleHandleW(L"Quorline.dll"), "CreateThread", &NoteThread) {
    g_kept = this;
}

CRunnersKept::~CRunnersKept() = default;

HANDLE WINAPI CRunnersKept::NoteEvent(LPSECURITY_ATTRIBUTES security, BOOL manual, BOOL signalled, LPCWSTR name) {
    return t_lastEvent = CreateEventW(security, manual, signalled, name);
}

HANDLE WINAPI CRunnersKept::NoteThread(LPSECURITY_ATTRIBUTES security, SIZE_T stack, LPTHREAD_START_ROUTINE start,
                                       LPVOID parameter, DWORD flags, LPDWORD id) {
    const HANDLE finished = t_lastEvent;
    const HANDLE thread = CreateThread(security, stack, start, parameter, flags, id);
    if (thread) {
        const std::lock_guard lock(g_kept->m_lock);
        g_kept->m_runners.push_back({thread, finished});
    }
    return thread;
}

std::size_t CRunnersKept::Close() {
    std::vector<CRunner> runners;
    {
        const std::lock_guard lock(m_lock);
        runners.swap(m_runners);
    }
    for (const CRunner& runner : runners) {
        if (WaitForSingleObject(runner.thread, 60'000) != WAIT_OBJECT_0)
            throw std::runtime_error("a runner's thread does not end");
        CloseHandle(runner.thread);
        CloseHandle(runner.finished);
    }
    return runners.size();
}
