#pragma once

// The text of an applications file, taken apart without looking at the files that it names.

#include "ScriptExecution/StateChangeTypes.h"

#include <string>
#include <string_view>
#include <vector>

/// One application's entry; what may be left out is empty then.
struct CAppEntry {
    std::wstring friendlyName;
    std::vector<std::wstring> executables;
    std::vector<std::wstring> windowTitles;
    std::vector<std::wstring> windowClasses;
    unsigned long stateChanges = 0; ///< a mask of _STATE_CHANGE_TYPE
    std::wstring saveScript;
    std::wstring saveScriptWhere; ///< the words with which a complaint about the script begins
    std::wstring restoreScript;
    std::wstring restoreScriptWhere;
};

struct CAppsText {
    std::vector<CAppEntry> entries;     ///< those without a mistake
    std::vector<std::wstring> mistakes; ///< each with the file, the line and the key, in the file's order
};

/// Reads the file's text, as AppsFile.h describes it; `path` is the file's, for the messages.
CAppsText ExamineAppsText(std::string_view text, const std::wstring& path);

/// The same, for who can do with no mistake at all: throws CCommandError with the first.
std::vector<CAppEntry> ParseAppsText(std::string_view text, const std::wstring& path);

/// The state of a name such as "hibernate" or "HibernateResume"; case and hyphens do not count.
/// Throws CCommandError that lists the names for an unknown one.
_STATE_CHANGE_TYPE StateChangeFromName(const std::wstring& name);
