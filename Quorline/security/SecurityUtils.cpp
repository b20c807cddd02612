#include "security/SecurityUtils.h"

#include "base/UniqueHandle.h"
#include "logging/Checks.h"
#include "logging/ClassLog.h"
#include "logging/TraceScope.h"

#include <array>
#include <utility>
#include <vector>

namespace {
/// Appends to a text in a buffer whose end was checked beforehand.
template <class... Args> wchar_t* Append(wchar_t* position, wchar_t* end, const wchar_t* format, Args... args) {
    return position + _snwprintf_s(position, static_cast<size_t>(end - position), _TRUNCATE, format, args...);
}

/// A copy of the SID of the process's owner, empty on any failure.
std::vector<BYTE> ProcessOwnerSid(HANDLE process) {
    CUniqueHandle token;
    if (!OpenProcessToken(process, TOKEN_QUERY | TOKEN_QUERY_SOURCE, token.Put()))
        return {};
    DWORD size = 0;
    if (GetTokenInformation(token.Get(), TokenUser, nullptr, 0, &size) || GetLastError() != ERROR_INSUFFICIENT_BUFFER)
        return {};
    std::vector<BYTE> information(size);
    if (!GetTokenInformation(token.Get(), TokenUser, information.data(), size, &size))
        return {};
    const PSID owner = reinterpret_cast<const TOKEN_USER*>(information.data())->User.Sid;
    std::vector<BYTE> sid(GetLengthSid(owner));
    if (!CopySid(static_cast<DWORD>(sid.size()), sid.data(), owner))
        return {};
    return sid;
}
} // namespace

QUORLINE_CLASS_LOG(CSecurityUtils, L"SecUtils.SecurityUtils")

CSecurityUtils& CSecurityUtils::Instance() {
    static CSecurityUtils instance;
    return instance;
}

BOOL CSecurityUtils::SetPrivilege(HANDLE token, const wchar_t* privilege, BOOL enable) {
    const CTraceScope trace(L"CSecurityUtils::SetPrivilege");
    TOKEN_PRIVILEGES privileges{};
    if (!LookupPrivilegeValueW(nullptr, privilege, &privileges.Privileges[0].Luid)) {
        if (const DWORD error = GetLastError(); error != 0) {
            LogWin32Error(QUORLINE_HERE, error, L"Call to LookupPrivilegeValue failed.");
            return FALSE;
        }
    }
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Attributes = enable ? SE_PRIVILEGE_ENABLED : 0;

    // The call succeeds even when the token lacks the privilege; only the last error tells.
    SetLastError(ERROR_SUCCESS);
    AdjustTokenPrivileges(token, FALSE, &privileges, sizeof(privileges), nullptr, nullptr);
    const DWORD error = GetLastError();
    if (error == ERROR_SUCCESS)
        return TRUE;
    Log(log4cxx::Level::getError(), L"Call to AdjustTokenPrivileges failed, error={0:%d}", error);
    return FALSE;
}

BOOL CSecurityUtils::GetTextualSid(PSID sid, wchar_t* buffer, DWORD* size) {
    const CTraceScope trace(L"CSecurityUtils::GetTextualSid");
    if (!sid || !IsValidSid(sid))
        return FALSE;
    if (!size) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const DWORD subAuthorities = *GetSidSubAuthorityCount(sid);
    // "S-", the revision and an authority; twelve characters for each number with its dash; the terminator.
    const DWORD required = (15 + 12 + 12 * subAuthorities + 1) * static_cast<DWORD>(sizeof(wchar_t));
    if (*size < required) {
        *size = required;
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    if (!buffer) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }

    wchar_t* const end = buffer + *size / sizeof(wchar_t);
    wchar_t* position = Append(buffer, end, L"S-%lu-", static_cast<unsigned long>(SID_REVISION));
    const BYTE* authority = GetSidIdentifierAuthority(sid)->Value;
    if (authority[0] != 0 || authority[1] != 0)
        position = Append(position, end, L"0x%02hx%02hx%02hx%02hx%02hx%02hx", authority[0], authority[1], authority[2],
                          authority[3], authority[4], authority[5]);
    else {
        const unsigned long number = static_cast<unsigned long>(authority[2]) << 24 |
                                     static_cast<unsigned long>(authority[3]) << 16 |
                                     static_cast<unsigned long>(authority[4]) << 8 | authority[5];
        position = Append(position, end, L"%lu", number);
    }
    for (DWORD index = 0; index < subAuthorities; ++index)
        position = Append(position, end, L"-%lu", *GetSidSubAuthority(sid, index));
    return TRUE;
}

std::wstring CSecurityUtils::GetProcessOwnerSidAsWSTR(HANDLE process) {
    const CTraceScope trace(L"CSecurityUtils::GetProcessOwnerSidAsWSTR");
    std::vector<BYTE> sid = ProcessOwnerSid(process);
    std::array<wchar_t, 512> text{};
    DWORD size = sizeof(text);
    if (sid.empty() || !GetTextualSid(sid.data(), text.data(), &size))
        return {};
    return text.data();
}

void CSecurityUtils::EnsureDesktop(CDesktopHandles& handles) {
    const CTraceScope trace(L"CSecurityUtils::EnsureDesktop");
    handles = {};
    const std::lock_guard lock(m_stationLock);
    handles.savedDesktop = GetThreadDesktop(GetCurrentThreadId());
    if (!EnterStation(handles))
        return;
    handles.openedDesktop = OpenDesktopW(L"Default", 0, FALSE, MAXIMUM_ALLOWED);
    if (handles.openedDesktop)
        SetThreadDesktop(handles.openedDesktop);
}

void CSecurityUtils::RevertDesktop(CDesktopHandles& handles) {
    const CTraceScope trace(L"CSecurityUtils::RevertDesktop");
    const std::lock_guard lock(m_stationLock);
    // A station or desktop in use cannot be closed, so the saved ones come back first.
    HWINSTA unused = handles.openedStation ? LeaveStation() : nullptr;
    if (handles.savedDesktop)
        RestoreThreadDesktop(handles.savedDesktop);
    if (handles.openedDesktop)
        CloseDesktop(handles.openedDesktop);
    if (unused)
        CloseWindowStation(unused);
    handles = {};
}

/// Whether the process is on the interactive station now. With a station opened, LeaveStation is due.
bool CSecurityUtils::EnterStation(CDesktopHandles& handles) {
    if (m_switches == 0) {
        // Where there is nothing to go back to, the process stays.
        m_savedStation = GetProcessWindowStation();
        m_openedStation = m_savedStation ? OpenWindowStationW(L"WinSta0", FALSE, MAXIMUM_ALLOWED) : nullptr;
    }
    handles.savedStation = m_savedStation;
    handles.openedStation = m_openedStation;
    if (!m_openedStation)
        return false;
    ++m_switches;
    return GetProcessWindowStation() == m_openedStation || SetProcessWindowStation(m_openedStation);
}

/// The opened station when nobody needs it any longer.
HWINSTA CSecurityUtils::LeaveStation() {
    if (--m_switches > 0)
        return nullptr;
    SetProcessWindowStation(m_savedStation);
    return std::exchange(m_openedStation, nullptr);
}

void CSecurityUtils::RestoreThreadDesktop(HDESK desktop) {
    // A desktop is assigned only while the process is on its station, and others may need the interactive one still.
    if (SetThreadDesktop(desktop) || m_switches == 0)
        return;
    if (!SetProcessWindowStation(m_savedStation))
        return;
    SetThreadDesktop(desktop);
    SetProcessWindowStation(m_openedStation);
}
