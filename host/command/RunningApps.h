#pragma once

// What runs now, as the library sees it when it looks for protected applications, and which pattern takes what.

#include "AppsText.h"
#include "protection/ProcessInfo.h"
#include "protection/WindowInfo.h"

#include <vector>

struct CRunningApps {
    std::vector<CProcessInfo> processes;
    std::vector<CWindowInfo> windows; ///< visible top-level ones

    /// One look at the machine.
    static CRunningApps Look();
};

enum class PatternKind { Executable, WindowTitle, WindowClass };

struct CPattern {
    PatternKind kind;
    std::wstring text;

    /// "executable", "window title" or "window class"
    const wchar_t* KindName() const;
    bool Matches(const CProcessInfo& process) const;
    bool Matches(const CWindowInfo& window) const;
};

/// All patterns of an entry: executables, titles, classes.
std::vector<CPattern> PatternsOf(const CAppEntry& entry);
