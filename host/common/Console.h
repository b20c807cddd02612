#pragma once

// The command's text, in UTF-8 whatever the console's code page.

#include "base/Utf8.h"

#include <string>
#include <string_view>

struct CConsoleSettings {
    std::string program; ///< stands in front of each trouble
    bool lines = true;   ///< whether PrintLine prints
};

/// For the whole program, before anything is printed.
void SetConsole(CConsoleSettings settings);

/// Whether PrintLine prints.
bool PrintsLines();

/// One line on standard output, or on standard error for trouble; flushed, so that progress is seen as it happens.
/// Names and paths come from others: characters in the text that would break the line or turn it round are shown as
/// escapes.
void PrintLine(std::wstring_view text);
void PrintError(std::wstring_view text);

/// A text of many lines that is to be read by programs, as it is and with a line break behind it.
void PrintData(std::string_view utf8);
