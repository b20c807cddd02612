#pragma once

// Which threads of this process run in the security context of another process's owner. Prefer CImpersonator, which
// ties an impersonation to a scope.

#include <windows.h>

#include <log4cxx/logger.h>

#include <map>
#include <mutex>
#include <string>

/// One for the whole process. Any thread may call; a call concerns the calling thread alone.
class CImpersonation {
public:
    static CImpersonation& Instance();

    CImpersonation(const CImpersonation&) = delete;
    CImpersonation& operator=(const CImpersonation&) = delete;

    /// Makes the calling thread run as the owner of the process, whose handle needs PROCESS_QUERY_INFORMATION. False
    /// when the token is out of reach, or when this thread impersonates already (the first impersonation then stays).
    bool ImpersonateProcessOwner(HANDLE process);

    /// Ends what ImpersonateProcessOwner began on the calling thread. Leaves alone a thread that this class did not
    /// impersonate, even if its host did.
    void Unimpersonate();

private:
    CImpersonation() = default;

    /// The calling thread's count. An entry is created with 0, is changed by its own thread only, and stays for good.
    long& ThreadCount();

    static log4cxx::LoggerPtr SDGetLogger();
    static void Log(log4cxx::LevelPtr level, std::wstring format, ...);
    static void Log(log4cxx::LevelPtr level, const wchar_t* format, ...);

    std::mutex m_mapLock; ///< guards the map's structure; the counts belong to their threads
    std::map<unsigned long, long> m_counts;
};
