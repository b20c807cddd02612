#include "security/Impersonator.h"

#include "base/SystemFunction.h"
#include "logging/Checks.h"
#include "logging/ClassLog.h"
#include "security/Impersonation.h"
#include "security/SecurityUtils.h"

#define SECURITY_WIN32
#include <security.h>

#include <array>

QUORLINE_CLASS_LOG(CImpersonator, L"SecHelp.CImpersonation")

// Delegates, so that the destructor ends the impersonation when something throws after it began.
CImpersonator::CImpersonator(HANDLE process, bool mustSucceed) : CImpersonator() {
    m_impersonating = CImpersonation::Instance().ImpersonateProcessOwner(process);
    if (m_impersonating) {
        m_ownerSid = CSecurityUtils::Instance().GetProcessOwnerSidAsWSTR(process);
        std::array<wchar_t, 1024> name{};
        ULONG length = static_cast<ULONG>(name.size());
        // With this DLL come the system's security packages, and nobody but an impersonator wants them.
        const auto getUserName = FindSystemFunction<decltype(GetUserNameExW)>(L"secur32.dll", "GetUserNameExW");
        if (getUserName != nullptr && getUserName(NameSamCompatible, name.data(), &length)) {
            m_userName = name.data();
            Log(log4cxx::Level::getDebug(), L"Successfully referenced active user {0:%s}.", m_userName.c_str());
        } else
            Log(log4cxx::Level::getDebug(), L"Successfully referenced active user.");
    }
    if (mustSucceed && !m_impersonating)
        SanityCheckFailed(CCodeLocation{"Impersonator", 26, "CImpersonator::CImpersonator"},
                          L"Failed to impersonate process owner!");
}

CImpersonator::~CImpersonator() {
    if (!m_impersonating)
        return;
    CImpersonation::Instance().Unimpersonate();
    Log(log4cxx::Level::getDebug(), L"Removed reference to active user.");
}
