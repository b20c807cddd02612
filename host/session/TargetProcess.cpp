#include "TargetProcess.h"

#include "SessionError.h"
#include "SessionLog.h"

#include <algorithm>
#include <cwchar>
#include <exception>

namespace {

/// Empty when it is not known.
std::wstring ReadImagePath(HANDLE process) {
    std::wstring path(32768, L'\0');
    DWORD length = static_cast<DWORD>(path.size());
    if (process == nullptr || !QueryFullProcessImageNameW(process, 0, path.data(), &length))
        length = 0;
    path.resize(length);
    return path;
}

CUniqueHandle Open(DWORD id) {
    return CUniqueHandle(OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, id));
}

bool HasEnded(HANDLE process) {
    return WaitForSingleObject(process, 0) == WAIT_OBJECT_0;
}

struct CWindowSearch {
    const CTargetProcess& process;
    std::vector<HWND> found;
    std::exception_ptr failure; ///< kept, since nothing may be thrown through the system
};

BOOL CALLBACK CollectWindow(HWND window, LPARAM context) noexcept {
    auto& search = *reinterpret_cast<CWindowSearch*>(context);
    try {
        if (search.process.Owns(window) && IsWindowVisible(window))
            search.found.push_back(window);
    } catch (...) {
        search.failure = std::current_exception();
    }
    return search.failure == nullptr;
}

} // namespace

CTargetProcess::CTargetProcess(DWORD id) : m_id(id), m_process(Open(id)) {
    m_hadExited = HasExited();
    const std::wstring path = ReadImagePath(m_process.Get());
    m_imageName = path.substr(path.find_last_of(L'\\') + 1);
    if (!m_hadExited)
        m_path = path;
}

bool CTargetProcess::HasExited() const {
    if (m_hadExited)
        return true;
    if (m_process)
        return HasEnded(m_process.Get());
    // It could not be opened: because it is gone, or because it may not be looked into. That may have changed.
    const CUniqueHandle process = Open(m_id);
    return process ? HasEnded(process.Get()) : GetLastError() == ERROR_INVALID_PARAMETER;
}

std::wstring CTargetProcess::Describe() const {
    return L"process " + std::to_wstring(m_id) + (m_imageName.empty() ? L"" : L" (" + m_imageName + L")");
}

std::vector<HWND> CTargetProcess::VisibleWindows() const {
    if (HasExited())
        return {};
    CWindowSearch search{*this, {}, nullptr};
    const BOOL complete = EnumWindows(CollectWindow, reinterpret_cast<LPARAM>(&search));
    if (search.failure)
        std::rethrow_exception(search.failure);
    if (!complete)
        ThrowLastError();
    return search.found;
}

bool CTargetProcess::Owns(HWND window) const noexcept {
    DWORD owner = 0;
    GetWindowThreadProcessId(window, &owner);
    return owner == m_id;
}

std::wstring CTargetProcess::ReadText(HWND window) {
    // Room for the text that the window speaks of, the terminator, and one character that shows whether there is more:
    // what a window says about its own length may be wrong in both directions. A length that nobody reads says nothing,
    // and a window that has to carry such a room from one process to another may break under it.
    constexpr DWORD_PTR least = 256;
    constexpr DWORD_PTR most = LongestText + 2;
    const DWORD_PTR length = Ask(window, WM_GETTEXTLENGTH, 0, 0);
    DWORD_PTR room = length > LongestText ? least : std::max(length + 2, least);
    std::wstring text;
    for (;;) {
        text.assign(room, L'\0');
        const DWORD_PTR told = Ask(window, WM_GETTEXT, room, reinterpret_cast<LPARAM>(text.data()));
        text.resize(wcsnlen(text.data(), std::min(told, room - 1)));
        if (text.size() + 1 < room || room == most)
            break;
        room = std::min(room * 4, most);
    }
    if (text.size() > LongestText) {
        text.resize(LongestText);
        LogWindowWarning(L"A window of " + Describe() + L" has a text of more than " + std::to_wstring(LongestText) +
                         L" characters; the rest was left out");
    }
    return text;
}

/// Only the time spent waiting counts, so that a script may take its own.
DWORD_PTR CTargetProcess::Ask(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (m_timeLeft == 0)
        throw CSessionError(HRESULT_FROM_WIN32(ERROR_TIMEOUT), L"the process has used up the " +
                                                                   std::to_wstring(AnswerTime / 1000) +
                                                                   L" seconds in which its windows had to answer");
    DWORD_PTR answer = 0;
    const ULONGLONG asked = GetTickCount64();
    SetLastError(ERROR_SUCCESS);
    const bool answered =
        SendMessageTimeoutW(window, message, wParam, lParam, SMTO_ABORTIFHUNG, m_timeLeft, &answer) != 0;
    const DWORD error = GetLastError();
    m_timeLeft -= static_cast<DWORD>(std::min<ULONGLONG>(GetTickCount64() - asked, m_timeLeft));
    if (answered)
        return answer;
    if (HasExited())
        throw CSessionError(HRESULT_FROM_WIN32(ERROR_INVALID_WINDOW_HANDLE), L"the process has ended");
    if (error == ERROR_SUCCESS || error == ERROR_TIMEOUT)
        throw CSessionError(HRESULT_FROM_WIN32(ERROR_TIMEOUT), L"the window does not answer");
    SetLastError(error);
    ThrowLastError();
}
