#pragma once

// The commands of quorline.exe. Each prints what it did and returns what the program exits with; trouble that ends it
// is thrown as CCommandError.

#include "ExitCode.h"

#include <string>

/// Runs the save scripts of the running protected applications for a state change.
ExitCode RunSave(const std::wstring& state, const std::wstring& appsFile);

/// Lists the stores and their documents, those not yet recovered first.
ExitCode RunHistory(bool asJson);

/// What to restore: every unrecovered document, or what a name stands for (a store's directory or its path, or a
/// document's name or the path of its saved copy).
struct CRestoreRequest {
    bool all = false;
    std::wstring target;
    std::wstring appsFile; ///< may be empty when there is a script
    std::wstring script;   ///< a file to run for each document, whatever its record says; or empty
};

/// Runs the restore scripts and marks their documents as recovered.
ExitCode RunRestore(const CRestoreRequest& request);
