#include "security/Impersonation.h"

#include "base/UniqueHandle.h"
#include "logging/ClassLog.h"
#include "logging/TraceScope.h"
#include "security/SecurityUtils.h"

static_assert(TOKEN_ALL_ACCESS == 0xF01FF);

QUORLINE_CLASS_LOG(CImpersonation, L"SecHelp.CImpersonation")

CImpersonation& CImpersonation::Instance() {
    static CImpersonation instance;
    return instance;
}

long& CImpersonation::ThreadCount() {
    const std::lock_guard lock(m_mapLock);
    return m_counts[GetCurrentThreadId()];
}

bool CImpersonation::ImpersonateProcessOwner(HANDLE process) {
    const CTraceScope trace(L"CImpersonation::ImpersonateProcessOwner");
    // A map's elements stay where they are while other threads insert theirs.
    long& count = ThreadCount();
    if (count != 0)
        return false;

    CUniqueHandle token;
    if (!OpenProcessToken(process, TOKEN_ALL_ACCESS, token.Put()))
        return false;
    CSecurityUtils::Instance().SetPrivilege(token.Get(), SE_SHUTDOWN_NAME, TRUE);
    if (!ImpersonateLoggedOnUser(token.Get()))
        return false;
    ++count;
    return true;
}

void CImpersonation::Unimpersonate() {
    const CTraceScope trace(L"CImpersonation::Unimpersonate");
    long& count = ThreadCount();
    if (count == 0)
        return;
    --count;
    if (!RevertToSelf())
        Log(log4cxx::Level::getError(), L"Unimpersonate -> Failed to revert to self!");
}
