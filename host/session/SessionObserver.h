#pragma once

// Tells the host which process the next script run is for. The library asks the session object for a process just
// before it runs that process's script, so an observer knows whose documents are stored until the next call.

#include <windows.h>

#if defined(QUORLINEHOST_BUILD)
#define QUORLINEHOST_API __declspec(dllexport)
#else
#define QUORLINEHOST_API __declspec(dllimport)
#endif

class ISessionObserver {
public:
    /// Called on the thread that runs the scripts. Must not throw.
    /// The path is the executable's, empty when the process is gone or may not be looked into.
    virtual void OnProcessRequested(DWORD processId, const wchar_t* path) noexcept = 0;

protected:
    ~ISessionObserver() = default;
};

/// One observer per process; null removes it. The caller keeps the observer alive until then. Set it while no script
/// runs.
QUORLINEHOST_API void SetSessionObserver(ISessionObserver* observer) noexcept;
