#pragma once

// Privileges, SID text and the interactive desktop. Nothing here throws for a failed system call.

#include <windows.h>

#include <log4cxx/logger.h>

#include <mutex>
#include <string>

/// What EnsureDesktop leaves for RevertDesktop. The saved handles are the process's own and are never closed; the
/// opened station is shared with whoever switched meanwhile.
struct CDesktopHandles {
    HWINSTA savedStation = nullptr;
    HDESK savedDesktop = nullptr;
    HWINSTA openedStation = nullptr;
    HDESK openedDesktop = nullptr;
};

/// One for the whole process: any thread may call.
class CSecurityUtils {
public:
    static CSecurityUtils& Instance();

    CSecurityUtils(const CSecurityUtils&) = delete;
    CSecurityUtils& operator=(const CSecurityUtils&) = delete;

    /// Switches one privilege of the token on or off. FALSE with a log line when there is no such privilege or the
    /// token does not hold it. The token needs TOKEN_ADJUST_PRIVILEGES.
    BOOL SetPrivilege(HANDLE token, const wchar_t* privilege, BOOL enable);

    /// Writes the SID as "S-1-5-18". size counts bytes; if it is too small, the required size is stored there, the
    /// last error is ERROR_INSUFFICIENT_BUFFER and the result FALSE (buffer may then be null). FALSE for a bad SID.
    BOOL GetTextualSid(PSID sid, wchar_t* buffer, DWORD* size);

    /// The SID of the process's owner as text, empty on any failure.
    std::wstring GetProcessOwnerSidAsWSTR(HANDLE process);

    /// Switches the whole process to the interactive window station and the calling thread to its desktop, as far as
    /// the system lets it. Call RevertDesktop with the same handles on the same thread soon after. Where several
    /// threads are switched at once, the last one out gives the process its window station back.
    void EnsureDesktop(CDesktopHandles& handles);
    void RevertDesktop(CDesktopHandles& handles);

private:
    CSecurityUtils() = default;

    bool EnterStation(CDesktopHandles& handles);
    HWINSTA LeaveStation();
    void RestoreThreadDesktop(HDESK desktop);

    static log4cxx::LoggerPtr SDGetLogger();
    static void Log(log4cxx::LevelPtr level, std::wstring format, ...);
    static void Log(log4cxx::LevelPtr level, const wchar_t* format, ...);

    std::mutex m_stationLock; ///< guards what follows, and the process's window station
    int m_switches = 0;
    HWINSTA m_savedStation = nullptr;
    HWINSTA m_openedStation = nullptr; ///< not null while there are switches
};
