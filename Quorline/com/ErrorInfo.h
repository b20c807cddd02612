#pragma once

// The calling thread's error information, which tells a script what failed and why.

#include <windows.h>

#include <string>

struct CErrorInfo {
    std::wstring source = {}; ///< an empty text is left out, as are the two below
    std::wstring description = {};
    std::wstring helpFile = {};
    DWORD helpContext = 0;
};

/// For a failed call of this interface; where there is no memory for it, the thread has none.
void InstallErrorInfo(REFIID iid, const CErrorInfo& error) noexcept;
