#pragma once

// A real application of the system: its window, what is typed into it, and what a script starts.
//
//     const CRealWindow notepad = StartApp(L"notepad.exe", L"Notepad");
//     notepad.Type(L"Dear Ana");
//
//     CNewProcesses started;                       // before something starts a program
//     const CRealWindow other(started.Wait(L"notepad.exe"), L"Notepad");

#include "base/UniqueHandle.h"
#include "StartProcess.h"

#include <windows.h>

#include <tlhelp32.h>

#include <iterator>
#include <map>
#include <stdexcept>
#include <string>

/// What happens to windows, in any process, while it lives.
class CWindowNews {
public:
    CWindowNews()
        : m_hook(SetWinEventHook(EVENT_OBJECT_CREATE, EVENT_OBJECT_NAMECHANGE, nullptr, &Ignore, 0, 0,
                                 WINEVENT_OUTOFCONTEXT)) {}
    ~CWindowNews() { UnhookWinEvent(m_hook); }
    CWindowNews(const CWindowNews&) = delete;
    CWindowNews& operator=(const CWindowNews&) = delete;

    /// Looks again with all news until what is looked for is there; throws when it is not within a minute.
    template <class Look> auto WaitFor(Look look) const {
        const ULONGLONG end = GetTickCount64() + 60'000;
        for (;;) {
            if (const auto found = look())
                return found;
            const ULONGLONG now = GetTickCount64();
            if (now >= end)
                throw std::runtime_error("the window did not come");
            // The system's news come as messages of this thread; not all of them come through.
            constexpr DWORD Patience = 250; // milliseconds
            MsgWaitForMultipleObjects(0, nullptr, FALSE, Patience, QS_ALLINPUT);
            MSG message{};
            while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
                DispatchMessageW(&message);
        }
    }

private:
    static void CALLBACK Ignore(HWINEVENTHOOK, DWORD, HWND, LONG, LONG, DWORD, DWORD) {}

    HWINEVENTHOOK m_hook;
};

/// A program's top-level window of a class, ready for input. The program ends with the object.
class CRealWindow {
public:
    CRealWindow(DWORD processId, const std::wstring& className)
        : m_processId(processId),
          m_process(OpenProcess(SYNCHRONIZE | PROCESS_TERMINATE | PROCESS_QUERY_INFORMATION, FALSE, processId)) {
        m_window = CWindowNews().WaitFor([&] { return Find(className); });
        WaitForInputIdle(m_process.Get(), 60'000);
    }
    CRealWindow(CRealWindow&&) = default;
    CRealWindow& operator=(CRealWindow&&) = delete;
    ~CRealWindow() {
        if (m_process && TerminateProcess(m_process.Get(), 0))
            WaitForSingleObject(m_process.Get(), 60'000);
    }

    DWORD ProcessId() const { return m_processId; }
    void SetTitle(const std::wstring& title) const { SetText(m_window, title); }
    void Type(const std::wstring& text) const { SetText(Editor(), text); }
    std::wstring Text() const {
        std::wstring text(static_cast<std::size_t>(SendMessageW(Editor(), WM_GETTEXTLENGTH, 0, 0)) + 1, L'\0');
        text.resize(static_cast<std::size_t>(
            SendMessageW(Editor(), WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()))));
        return text;
    }

private:
    HWND Find(const std::wstring& className) const {
        HWND window = nullptr;
        DWORD owner = 0;
        while (owner != m_processId && (window = FindWindowExW(nullptr, window, className.c_str(), nullptr)) != nullptr)
            GetWindowThreadProcessId(window, &owner);
        return window;
    }
    static void SetText(HWND window, const std::wstring& text) {
        SendMessageW(window, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text.c_str()));
    }
    static BOOL CALLBACK TakeEditor(HWND window, LPARAM context) {
        wchar_t name[64] = {};
        GetClassNameW(window, name, static_cast<int>(std::size(name)));
        const bool holdsText = (GetWindowLongW(window, GWL_STYLE) & ES_MULTILINE) != 0 &&
                               (_wcsicmp(name, L"Edit") == 0 || _wcsnicmp(name, L"RichEdit", 8) == 0);
        if (holdsText)
            *reinterpret_cast<HWND*>(context) = window;
        return !holdsText;
    }
    HWND Editor() const {
        HWND editor = nullptr;
        EnumChildWindows(m_window, &TakeEditor, reinterpret_cast<LPARAM>(&editor));
        return editor;
    }

    DWORD m_processId;
    CUniqueHandle m_process;
    HWND m_window = nullptr;
};

inline CRealWindow StartApp(const std::wstring& commandLine, const std::wstring& className) {
    PROCESS_INFORMATION started{};
    if (!StartProcess(commandLine, started))
        throw std::runtime_error("an application could not be started");
    const CUniqueHandle process(started.hProcess);
    const CUniqueHandle thread(started.hThread);
    return CRealWindow(started.dwProcessId, className);
}

/// The processes that were started since it was made.
class CNewProcesses {
public:
    /// The identifier of one with this executable; throws when there is none.
    DWORD Find(const wchar_t* executable) const {
        for (const auto& [id, name] : Running())
            if (!m_known.contains(id) && _wcsicmp(name.c_str(), executable) == 0)
                return id;
        throw std::runtime_error("no such program was started");
    }

private:
    using Processes = std::map<DWORD, std::wstring>;

    static Processes Running() {
        Processes found;
        const CUniqueHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
        PROCESSENTRY32W entry{};
        entry.dwSize = sizeof entry;
        for (BOOL more = Process32FirstW(snapshot.Get(), &entry); more; more = Process32NextW(snapshot.Get(), &entry))
            found.emplace(entry.th32ProcessID, entry.szExeFile);
        return found;
    }

    const Processes m_known = Running();
};
