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
// The friendly name, one pattern, the state changes and the save script must be there; docs/applications.schema.json
// says the same to editors.

#include "AppsText.h"
#include "ScriptExecution/DocumentScript.h"

#include <memory>
#include <string>
#include <vector>

using ProtectedApps = std::vector<std::unique_ptr<CDocumentScript>>;

/// The file that counts when none is named, in a folder that only administrators can write. Throws CCommandError.
std::wstring DefaultAppsFile();

/// The file that counts: the given one, or the machine's.
std::wstring AppsFileOf(const std::wstring& given);

/// The bytes of an applications file. Throws CCommandError.
std::string ReadAppsBytes(const std::wstring& path);

/// Reads the file and the scripts that it names. Throws CCommandError that says what is wrong and where.
ProtectedApps ReadAppsFile(const std::wstring& path);

/// The script in a file, .vbs or .js. Throws CCommandError.
CScript ReadScriptFile(const std::wstring& path);
