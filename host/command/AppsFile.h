#pragma once

// The file that lists the protected applications. JSON in UTF-8:
//
//     { "applications": [ {
//         "friendlyName":  "Notepad",
//         "executables":   ["notepad.exe"],     patterns; * stands for any text
//         "windowTitles":  [],                  optional
//         "windowClasses": [],                  optional
//         "stateChanges":  ["standby", "hibernate", "shutdown"],
//         "saveScript":    "notepad-save.vbs",  .vbs or .js; relative to this file
//         "restoreScript": "notepad-restore.vbs"
//     } ] }
//
// The friendly name, one pattern, the state changes and the save script must be there.

#include "AppsText.h"
#include "ScriptExecution/DocumentScript.h"

#include <memory>
#include <string>
#include <vector>

using ProtectedApps = std::vector<std::unique_ptr<CDocumentScript>>;

/// Reads the file and the scripts that it names. Throws CCommandError that says what is wrong and where.
ProtectedApps ReadAppsFile(const std::wstring& path);

/// The script in a file, .vbs or .js. Throws CCommandError.
CScript ReadScriptFile(const std::wstring& path);
