#pragma once

// The command's own lines in the library's log.

#include <string>

/// At ERROR, to the logger "Quorline.Host". Never throws: what cannot be logged is told on the console all the same.
void LogHostError(const std::wstring& text) noexcept;
