#pragma once

#include "ExitCode.h"

#include <string>

/// What a save is for.
struct CSaveRequest {
    std::wstring state;    ///< that the machine is about to enter, by its name
    std::wstring appsFile; ///< the protected applications
};

/// Saves, prints what became of it and returns what the program exits with.
ExitCode RunSave(const CSaveRequest& request);
