#pragma once

// What the watcher needs of a save and of a restore.

#include <chrono>
#include <functional>
#include <string>
#include <vector>

struct CSaveOrder {
    std::wstring state;    ///< by its name
    std::wstring appsFile; ///< full path
    bool checkpoint = false;
    std::chrono::milliseconds scriptLimit{};
    std::chrono::milliseconds allLimit{}; ///< none when zero
};

struct CSaveOutcome {
    bool vetoed = false;
    std::wstring store;                 ///< full path; empty when no document was asked for
    std::size_t documents = 0;          ///< that were written
    std::vector<std::wstring> troubles; ///< what went wrong, a sentence each
};

/// Called on the thread that saves, while it saves.
struct CSaveWatch {
    /// A script is about to run for an application.
    std::function<void(const std::wstring& application)> onScript;
    /// Dispatches the thread's messages.
    std::function<void()> onMessages;
};

class CSaver {
public:
    /// Returns when it is done, one way or another. Never throws. May be called while a call goes on, once that was
    /// aborted.
    CSaveOutcome Save(const CSaveOrder& order, const CSaveWatch& watch);

    /// Ends a save that goes on: what it has saved stays, and its call reports a trouble.
    void Abort();

private:
    unsigned long m_worker = 0; ///< process identifier, while a save goes on
};

/// Runs the restore script of one saved copy; what comes of it, as the command's exit code.
unsigned long RestoreCopy(const std::wstring& copy, const std::wstring& appsFile,
                          const std::function<void()>& onMessages);
