#pragma once

// The signer's own log. The signer serves any host, so it writes to log4cxx as that host has set it up.

#include <log4cxx/level.h>

#include <string>

/// Logger "ScriptSigner.Verify". Never throws.
void LogVerification(const log4cxx::LevelPtr& level, const std::wstring& text) noexcept;
/// Logger "ScriptSigner.Registration". Never throws.
void LogRegistration(const log4cxx::LevelPtr& level, const std::wstring& text) noexcept;
