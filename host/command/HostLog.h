#pragma once

// The command's own lines in the library's log.

#include <string>

/// At ERROR, to the logger "Quorline.Host". Never throws: what cannot be logged is told on the console all the same.
void LogHostError(const std::wstring& text) noexcept;

/// Full path of the log file that this process writes; empty when there is none.
std::wstring LogFilePath();

/// "; the log says more: C:\\...\\TalvinorSession.log", where there is a log file.
std::wstring PointToLog();
