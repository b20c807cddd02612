#pragma once

// The system's own lock, for std::lock_guard, std::unique_lock and std::shared_lock. It has no constructor to run, so
// it is there before anything else is; the runtime's mutexes keep handles when a library is freed.

#include <windows.h>

class CSharedLock {
public:
    void lock() noexcept { AcquireSRWLockExclusive(&m_lock); }
    bool try_lock() noexcept { return TryAcquireSRWLockExclusive(&m_lock) != FALSE; }
    void unlock() noexcept { ReleaseSRWLockExclusive(&m_lock); }
    void lock_shared() noexcept { AcquireSRWLockShared(&m_lock); }
    void unlock_shared() noexcept { ReleaseSRWLockShared(&m_lock); }

private:
    SRWLOCK m_lock = SRWLOCK_INIT;
};
