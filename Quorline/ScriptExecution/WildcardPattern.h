#pragma once

// Patterns of executables, window titles and window classes.

#include <string_view>

/// '*' stands for any text, also none; everything else for itself, case included. Each run between stars is taken where
/// it occurs first, and nothing is tried again further on: "*AB" does not match "XABAB".
bool MatchesPattern(std::wstring_view pattern, std::wstring_view value) noexcept;
