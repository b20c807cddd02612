#include "StatusLine.h"

#include "Console.h"
#include "base/LineText.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>

CStatusLine CStatusLine::OfConsole() {
    HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    CONSOLE_SCREEN_BUFFER_INFO screen{};
    const bool terminal = PrintsLines() && GetConsoleMode(output, &mode) && GetConsoleScreenBufferInfo(output, &screen);
    // One less: a full line would take the cursor to the next.
    return {terminal && screen.dwSize.X > 1 ? static_cast<std::size_t>(screen.dwSize.X - 1) : 0,
            [](std::string_view text) {
                std::fwrite(text.data(), 1, text.size(), stdout);
                std::fflush(stdout);
            }};
}

void CStatusLine::Show(std::wstring_view text) {
    if (m_width == 0)
        return;
    const std::wstring line = ShowControls(text).substr(0, m_width);
    const std::size_t rest = std::max(m_shown, line.size()) - line.size();
    m_write("\r" + ToUtf8(line) + std::string(rest, ' '));
    m_shown = line.size();
}

void CStatusLine::Clear() {
    if (m_shown == 0)
        return;
    m_write("\r" + std::string(m_shown, ' ') + "\r");
    m_shown = 0;
}
