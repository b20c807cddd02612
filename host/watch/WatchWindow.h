#pragma once

// The hidden top-level window on which the system tells of the session's end and of power changes.

#include <windows.h>

#include <optional>
#include <string>

/// What the window hears. Called on the thread of the window; another call may come while one goes on, if that
/// dispatches messages.
class IWatchEvents {
public:
    /// The session is about to end; false to speak against it. The flags are the message's ENDSESSION_ values.
    virtual bool OnQueryEnd(LPARAM flags) = 0;
    /// It ends now, or it goes on after all.
    virtual void OnEnd(bool ends) = 0;
    /// The machine is about to be suspended; false to speak against it.
    virtual bool OnQuerySuspend() = 0;
    /// It is suspended in about two seconds, whatever is said and done.
    virtual void OnSuspend() = 0;
    /// It was asked about, and stays on.
    virtual void OnSuspendRefused() = 0;
    virtual void OnResume() = 0;
    virtual void OnTimer() = 0;
    /// The user used the icon: a mouse message.
    virtual void OnIcon(UINT mouse) = 0;
    /// The shell has a new notification area.
    virtual void OnNewTaskbar() = 0;

protected:
    ~IWatchEvents() = default;
};

class CWatchWindow {
public:
    static constexpr const wchar_t* ClassName = L"QuorlineWatch";
    static constexpr UINT IconMessage = WM_APP + 1;

    /// The window belongs to the calling thread. Throws CCommandError.
    explicit CWatchWindow(IWatchEvents& events);
    ~CWatchWindow();
    CWatchWindow(const CWatchWindow&) = delete;
    CWatchWindow& operator=(const CWatchWindow&) = delete;

    HWND Get() const { return m_window; }

    /// Calls OnTimer again and again.
    void StartTimer(unsigned int milliseconds);

    /// Why the session does not end now, as the system shows it to the user.
    void BlockEnd(const std::wstring& reason);
    void UnblockEnd();

    /// Returns when the window is asked to close.
    void Run();
    /// Dispatches what has come.
    static void DispatchMessages();

private:
    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    std::optional<LRESULT> Handle(UINT message, WPARAM wParam, LPARAM lParam);
    LRESULT HandlePower(WPARAM event);

    IWatchEvents& m_events;
    UINT m_newTaskbar;
    HWND m_window = nullptr;
};
