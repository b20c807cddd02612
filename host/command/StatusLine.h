#pragma once

// The one line of a terminal that is written over again and again while something goes on. Elsewhere there is none: a
// file or a pipe gets whole lines only.

#include <functional>
#include <string>
#include <string_view>

class CStatusLine {
public:
    /// Standard output's, if that is a terminal.
    static CStatusLine OfConsole();

    /// `width` is the number of characters that fit on a line; 0 where there is no terminal.
    CStatusLine(std::size_t width, std::function<void(std::string_view)> write)
        : m_width(width), m_write(std::move(write)) {}

    /// In place of what it showed before.
    void Show(std::wstring_view text);
    /// Before anything else is written to the terminal.
    void Clear();

private:
    std::size_t m_width;
    std::function<void(std::string_view)> m_write;
    std::size_t m_shown = 0;
};
