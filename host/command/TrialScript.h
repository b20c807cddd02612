#pragma once

#include <string>

/// The path of what a trial of this script runs: the script itself where its signature holds; for a script that was
/// never signed a copy in the folder, signed with the caller's development certificate where there is one that this
/// machine trusts, and that is printed. Throws CCommandError that says what to do for every other.
std::wstring MakeTrialScript(const std::wstring& script, const std::wstring& folder);
