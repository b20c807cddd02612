#pragma once

// One process as the session's objects know it, shared by all that were made for it: what it is called, whether it has
// ended, its windows, and what they answer. Another process' answers are never believed further than they can be
// checked, and never waited for without an end.
//
//     const auto process = std::make_shared<CTargetProcess>(processId);
//     for (HWND window : process->VisibleWindows())
//         Use(process->ReadText(window));
//
// Belongs to the thread of the script engine that uses it. Failures are CSessionError.

#include "base/UniqueHandle.h"

#include <windows.h>

#include <cstddef>
#include <string>
#include <vector>

class CTargetProcess {
public:
    /// Characters of a window's text; what goes beyond is cut off, with a warning in the log.
    static constexpr std::size_t LongestText = 16'777'216;
    /// Milliseconds that the process may keep this object waiting, for the answers of all its windows together.
    static constexpr DWORD AnswerTime = 10'000;

    /// Holds on to the process, so that its identifier names no other one as long as the object lives. A process that
    /// has ended or may not be looked into makes an object all the same.
    explicit CTargetProcess(DWORD id);

    DWORD Id() const noexcept { return m_id; }
    /// Full path of the executable; empty when the process had ended or may not be looked into.
    const std::wstring& Path() const noexcept { return m_path; }
    /// The executable's file name; empty when it is not known.
    const std::wstring& ImageName() const noexcept { return m_imageName; }
    bool HasExited() const;
    /// "process 412 (notepad.exe)"
    std::wstring Describe() const;

    /// Top-level windows, from the foremost down. None once the process has ended.
    std::vector<HWND> VisibleWindows() const;
    /// Whether the window is still one of this process: a handle may be used again for another one's window.
    bool Owns(HWND window) const noexcept;
    /// The text of a window or control, by WM_GETTEXT, which works across processes, unlike GetWindowText on a control.
    /// Fails when the process has ended, does not answer, or has used up its time.
    std::wstring ReadText(HWND window);

private:
    DWORD_PTR Ask(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

    DWORD m_id;
    CUniqueHandle m_process;
    bool m_hadExited = false; ///< before the object was made
    std::wstring m_path;
    std::wstring m_imageName;
    DWORD m_timeLeft = AnswerTime;
};
