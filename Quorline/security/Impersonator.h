#pragma once

// Runs a scope in the security context of a process's owner:
//
//     CImpersonator impersonator(process, false);
//     WNetGetConnectionW(...); // the owner's drives
//
// Create and destroy it on one thread.

#include <windows.h>

#include <log4cxx/logger.h>

#include <string>

class CImpersonator {
public:
    /// Throws CMorvaneException if mustSucceed and the owner cannot be impersonated.
    CImpersonator(HANDLE process, bool mustSucceed);
    virtual ~CImpersonator();

    CImpersonator(const CImpersonator&) = delete;
    CImpersonator& operator=(const CImpersonator&) = delete;

    bool IsImpersonating() const noexcept { return m_impersonating; }

    /// DOMAIN\user of the owner; empty when not impersonating or when the system gave no name.
    const std::wstring& GetUserName() const noexcept { return m_userName; }

    /// The owner's SID as text; empty when not impersonating or when it could not be read.
    const std::wstring& GetOwnerSid() const noexcept { return m_ownerSid; }

private:
    CImpersonator() = default;

    static log4cxx::LoggerPtr SDGetLogger();
    static void Log(log4cxx::LevelPtr level, std::wstring format, ...);
    static void Log(log4cxx::LevelPtr level, const wchar_t* format, ...);

    bool m_impersonating = false;
    std::wstring m_userName;
    std::wstring m_ownerSid;
};
