#pragma once

// A critical section that can be locked for a scope with std::lock_guard. Recursive on one thread.

#include <windows.h>

class CCriticalSection {
public:
    /// Throws COSException (through the HRESULT check) when the section cannot be initialised.
    CCriticalSection();
    ~CCriticalSection() { DeleteCriticalSection(&m_section); }

    CCriticalSection(const CCriticalSection&) = delete;
    CCriticalSection& operator=(const CCriticalSection&) = delete;

    void lock() { EnterCriticalSection(&m_section); }
    void unlock() { LeaveCriticalSection(&m_section); }

private:
    CRITICAL_SECTION m_section{};
};
