#pragma once

// What outlives the watcher: a small file in the user's local application data.

#include <string>
#include <vector>

struct CWatchRecord {
    /// Set while a session is watched, and until an end of it was announced and its documents are saved.
    bool watching = false;
    /// Names of the stores that are checkpoints, oldest first.
    std::vector<std::wstring> checkpoints;
    /// The saved copies that the user was asked about.
    std::vector<std::wstring> asked;
};

/// Full path; the folder is made. Throws CCommandError.
std::wstring WatchRecordPath();

/// A file that is missing or damaged reads as an empty record: then nothing counts as a mere checkpoint or as asked
/// about, so that nothing is kept from the user.
CWatchRecord ReadWatchRecord(const std::wstring& path);

/// In one step, and on the disk when it returns. Throws CCommandError; the old file is there then.
void WriteWatchRecord(const std::wstring& path, const CWatchRecord& record);
