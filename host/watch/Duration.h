#pragma once

#include <chrono>
#include <string>

/// "90s", "15m", "2h" or "2d": a whole number above zero and a unit. Throws CCommandError for anything else, and for
/// more than a year.
std::chrono::seconds DurationFromText(const std::wstring& text);
