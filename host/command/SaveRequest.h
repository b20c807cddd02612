#pragma once

#include "ExitCode.h"
#include "WorkerProcess.h"

#include <string>

/// What a save is for.
struct CSaveRequest {
    std::wstring state;      ///< that the machine is about to enter, by its name
    std::wstring appsFile;   ///< the protected applications; empty for the machine's own
    bool checkpoint = false; ///< told to the scripts, as Session.IsCheckpoint
    bool json = false;       ///< what became of it is printed as data
};

/// Saves in a worker, prints how it goes and what became of it, and returns what the program exits with.
ExitCode RunSave(const CSaveRequest& request, const CWorkerLimits& limits);
