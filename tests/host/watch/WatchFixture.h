#pragma once

// A session watched by the real program, which is told what the system would tell it.

#include "CommandFixture.h"
#include "WatchRecord.h"
#include "WatchWindow.h"

#include <algorithm>

class WatchTest : public CommandTest {
protected:
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
        m_watch = std::make_unique<CPipedProgram>(L"\"" + ProgramFolder() + L"\\quorline.exe\" watch " + options);
        // Told before it looks for documents; that has been done when the first message is answered.
        ASSERT_TRUE(m_watch->ReadUntil(said));
        Tell(WM_NULL);
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

    std::size_t StoreCount() const { return Stored(L"info.xml").size(); }

    std::unique_ptr<CPipedProgram> m_watch;
};
