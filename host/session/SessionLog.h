#pragma once

// The session objects' own log. They serve any host, so they write to log4cxx as that host has set it up.

#include <string>

/// At WARN to the logger "Session.Windows". Never throws: what cannot be logged must not change the answer.
void LogWindowWarning(const std::wstring& text) noexcept;
