#pragma once

#include "ExitCode.h"
#include "WorkerProcess.h"

#include <string>

/// What to restore: every unrecovered document, or what a name stands for (a store's directory or its path, or a
/// document's name or the path of its saved copy).
struct CRestoreRequest {
    bool all = false;
    std::wstring target;
    std::wstring appsFile; ///< empty for the machine's own, or none when there is a script
    std::wstring script;   ///< a file to run for each document, whatever its record says; or empty
    bool latest = false;   ///< of each document nothing but its newest copy; of all when there is no target
    bool json = false;     ///< what became of it is printed as data
};

/// Restores in a worker, prints how it goes and what became of it, and returns what the program exits with.
ExitCode RunRestore(const CRestoreRequest& request, const CWorkerLimits& limits);
