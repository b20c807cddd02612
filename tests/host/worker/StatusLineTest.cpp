// What a terminal shows while a script runs: one line that is written over again and again, and that is gone in the
// end. Proves StatusLine.

#include "CommandFixture.h"

#include "RunningApp.h"

#include <set>

namespace {
using testing::HasSubstr;
using testing::SizeIs;

/// A screen of a console that this program has for itself; a program that is started with it writes there.
class CScreen {
public:
    CScreen() {
        FreeConsole();
        SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
        if (AllocConsole())
            m_screen.Reset(CreateConsoleScreenBuffer(GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                                     &inherited, CONSOLE_TEXTMODE_BUFFER, nullptr));
        if (!m_screen)
            throw std::runtime_error("there is no console, error " + std::to_string(GetLastError()));
    }
    ~CScreen() { FreeConsole(); }
    CScreen(const CScreen&) = delete;
    CScreen& operator=(const CScreen&) = delete;

    HANDLE Get() const { return m_screen.Get(); }

    /// From the top to where the cursor stands, without the blanks at their ends.
    std::vector<std::wstring> Lines() const {
        CONSOLE_SCREEN_BUFFER_INFO info{};
        GetConsoleScreenBufferInfo(m_screen.Get(), &info);
        std::vector<std::wstring> lines;
        for (SHORT row = 0; row <= info.dwCursorPosition.Y; ++row) {
            std::wstring& line = lines.emplace_back(static_cast<std::size_t>(info.dwSize.X), L' ');
            DWORD count = 0;
            ReadConsoleOutputCharacterW(m_screen.Get(), line.data(), static_cast<DWORD>(info.dwSize.X), {0, row},
                                        &count);
            line.resize(line.find_last_not_of(L' ') + 1);
        }
        return lines;
    }

private:
    CUniqueHandle m_screen;
};

using TerminalTest = CommandTest;
} // namespace

TEST_F(TerminalTest, WhatRunsAndForHowLongIsOneLineThatIsWrittenOverAndGoneInTheEnd) {
    const CAppCopy copy(Path(L"QlShown.exe"));
    const CRunningApp running({}, {copy.Path()});
    PutSigned(L"save.vbs", "Do\nLoop\n");
    Put(L"apps.json", R"({"applications":[{"friendlyName":"Letters","executables":["qlshown.exe"],
        "stateChanges":["hibernate"],"saveScript":"save.vbs"}]})");
    const CScreen screen;
    const CUniqueHandle save =
        StartProgram(QuorlineCommand(L"save --state hibernate --script-timeout 10 --apps " + Quoted(L"apps.json")),
                     screen.Get(), screen.Get());

    const std::wstring shown =
        L"running    'save.vbs', process " + std::to_wstring(running.Id()) + L" of Letters, for ";
    std::set<std::size_t> rows;
    std::set<std::wstring> times;
    const ULONGLONG end = GetTickCount64() + 120'000;
    constexpr DWORD Glance = 200; // milliseconds between two looks; a console announces nothing
    while (WaitForSingleObject(save.Get(), Glance) == WAIT_TIMEOUT && GetTickCount64() < end) {
        const auto lines = screen.Lines();
        for (std::size_t row = 0; row < lines.size(); ++row)
            if (lines[row].starts_with(shown)) {
                rows.insert(row);
                times.insert(lines[row]);
            }
    }
    EXPECT_EQ(WaitForEnd(save.Get()), 3u);
    EXPECT_THAT(rows, SizeIs(1));
    EXPECT_GE(times.size(), 2u) << "the time goes on";
    std::wstring rest;
    for (const auto& line : screen.Lines()) {
        EXPECT_FALSE(line.starts_with(L"running")) << ToUtf8(line);
        rest += line + L"\n";
    }
    EXPECT_THAT(ToUtf8(rest), HasSubstr("failed     'save.vbs', process "));
}
