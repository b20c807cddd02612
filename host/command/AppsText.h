#pragma once

// The text of an applications file, taken apart without looking at the files that it names.

#include "ScriptExecution/StateChangeTypes.h"

#include <string>
#include <string_view>
#include <vector>

/// One application's entry; what may be left out is empty then.
struct CAppEntry {
    std::wstring where; ///< the words with which a complaint about the entry begins
    std::wstring friendlyName;
    std::vector<std::wstring> executables;
    std::vector<std::wstring> windowTitles;
    std::vector<std::wstring> windowClasses;
    unsigned long stateChanges = 0; ///< a mask of _STATE_CHANGE_TYPE
    std::wstring saveScript;
    std::wstring restoreScript;
};

/// Reads the file's text, as AppsFile.h describes it. Throws CCommandError that says what is wrong and where; `path` is
/// the file's, for the message.
std::vector<CAppEntry> ParseAppsText(std::string_view text, const std::wstring& path);

/// The state of a name such as "hibernate" or "HibernateResume"; case and hyphens do not count.
/// Throws CCommandError that lists the names for an unknown one.
_STATE_CHANGE_TYPE StateChangeFromName(const std::wstring& name);
