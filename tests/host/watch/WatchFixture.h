#pragma once

// A session watched by the real program, which is told what the system would tell it.

#include "CommandFixture.h"
#include "WatchRecord.h"
#include "WatchWindow.h"

#include <algorithm>
#include <chrono>
#include <future>

class WatchTest : public CommandTest {
protected:
    static constexpr const char* Standby = R"("standby")"; // an application's list of state changes

    WatchTest() { std::filesystem::remove(WatchRecordPath()); }
    ~WatchTest() override {
        if (m_watch)
            Stop();
        std::filesystem::remove(WatchRecordPath());
    }

    void Watch(const std::wstring& options = L"", const char* said = "watching this session") {
        WatchWith(L"--apps " + Quoted(L"apps.json") + L" " + options, said);
    }
    void WatchWith(const std::wstring& options, const char* said = "watching this session") {
        m_watch = std::make_unique<CPipedProgram>(L"\"" + ProgramFolder() + L"\\quorline-watch.exe\" " + options);
        ASSERT_TRUE(m_watch->ReadUntil(said));
        // Told before it looks for documents; that has been done when it waits for messages. An answer to one says
        // less: it may come while the program talks to the notification area.
        ASSERT_EQ(WaitForInputIdle(m_watch->Process(), 60'000), 0u);
    }
    void Stop() {
        EXPECT_EQ(RunQuorline(L"watch --stop").exitCode, 0u);
        EXPECT_EQ(m_watch->Wait(), 0u);
        m_watch.reset();
    }

    static HWND Window() { return FindWindowW(CWatchWindow::ClassName, nullptr); }

    /// What the window answers; -1 when it does not.
    static LRESULT Tell(UINT message, WPARAM wParam = 0, LPARAM lParam = 0) {
        DWORD_PTR answer = 0;
        return SendMessageTimeoutW(Window(), message, wParam, lParam, SMTO_NORMAL, 60'000, &answer) != 0
                   ? static_cast<LRESULT>(answer)
                   : -1;
    }

    static HWND Dialog() { return FindWindowW(L"#32770", L"Quorline"); }
    static void Press(int button) {
        DWORD_PTR answer = 0;
        SendMessageTimeoutW(Dialog(), WM_COMMAND, static_cast<WPARAM>(button), 0, SMTO_NORMAL, 60'000, &answer);
    }

    /// Opens the icon's menu as a click does, and takes one of its commands with the keyboard.
    static void ChooseOfMenu(int place) {
        // Answered when the menu is gone and the command is done.
        const auto answer =
            std::async(std::launch::async, [] { return Tell(CWatchWindow::IconMessage, 0, WM_RBUTTONUP); });
        GUITHREADINFO state{};
        state.cbSize = sizeof(state);
        while ((state.flags & GUI_INMENUMODE) == 0 &&
               answer.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
            GetGUIThreadInfo(GetWindowThreadProcessId(Window(), nullptr), &state);
        ASSERT_NE(state.flags & GUI_INMENUMODE, 0u);
        for (int i = 0; i < place; ++i)
            PostMessageW(Window(), WM_KEYDOWN, VK_DOWN, 0);
        PostMessageW(Window(), WM_KEYDOWN, VK_RETURN, 0);
        ASSERT_NE(answer.wait_for(std::chrono::minutes(1)), std::future_status::timeout);
    }

    /// A window of a program that is about to open it; null when none comes within a minute.
    static HWND WaitForWindow(const wchar_t* className, const wchar_t* title) {
        const ULONGLONG end = GetTickCount64() + 60'000;
        HWND window = nullptr;
        while ((window = FindWindowW(className, title)) == nullptr && GetTickCount64() < end)
            Tell(WM_NULL);
        return window;
    }
    static void EndProgramOf(HWND window) {
        DWORD id = 0;
        GetWindowThreadProcessId(window, &id);
        const CUniqueHandle process(OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, id));
        TerminateProcess(process.Get(), 0);
        WaitForSingleObject(process.Get(), 60'000);
    }

    std::size_t StoreCount() const { return Stored(L"info.xml").size(); }

    std::unique_ptr<CPipedProgram> m_watch;
};
