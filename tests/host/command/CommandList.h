#pragma once

// Which commands a program has, and what it tells of them.

#include "ChildProgram.h"

#include <sstream>
#include <string>
#include <vector>

/// As --help lists them.
inline std::vector<std::string> CommandsOf(const std::wstring& program) {
    std::istringstream lines(RunProgram(L"\"" + ProgramFolder() + L"\\" + program + L"\" --help").out);
    std::vector<std::string> names;
    std::string line;
    while (std::getline(lines, line) && !line.starts_with("Subcommands:")) {
    }
    while (std::getline(lines, line) && line.starts_with("  "))
        names.push_back(line.substr(2, line.find(' ', 2) - 2));
    return names;
}
