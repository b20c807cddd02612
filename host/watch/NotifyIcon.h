#pragma once

// The icon in the notification area: what the watcher is at, in colour and words. Where there is no notification area
// it shows nothing, and nothing is lost.

#include "base/UniqueHandle.h"

#include <string>

enum class WatchState { Protected, Saving, Vetoed };

class CNotifyIcon {
public:
    /// What the user clicks on is told to the window, with this message.
    CNotifyIcon(HWND window, UINT message) : m_window(window), m_message(message) {}
    ~CNotifyIcon();
    CNotifyIcon(const CNotifyIcon&) = delete;
    CNotifyIcon& operator=(const CNotifyIcon&) = delete;

    /// The text appears when the pointer rests on the icon.
    void Show(WatchState state, const std::wstring& text);
    /// Again what it showed, for a notification area that is new.
    void ShowAgain();

    enum class Command { None, History, Log };
    /// Asks the user what to open.
    Command AskCommand() const;

private:
    using CUniqueIcon = CUnique<CNullableTraits<HICON, &DestroyIcon>>;

    void Tell(DWORD what) const;

    HWND m_window;
    const UINT m_message;
    CUniqueIcon m_icon;
    std::wstring m_text;
    bool m_added = false;
};
