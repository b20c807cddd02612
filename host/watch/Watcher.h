#pragma once

// Watches a session: saves before it ends and before the machine is suspended, makes checkpoints, and asks about what
// was not recovered. Everything happens on one thread, that of the window; while a save goes on the window's messages
// are dispatched, so each of these can come in the middle of another.

#include "Checkpoints.h"
#include "NotifyIcon.h"
#include "RestoreWindow.h"
#include "Saver.h"
#include "WatchRecord.h"
#include "WatchWindow.h"

#include <chrono>
#include <optional>

enum class RestoreMode { Ask, Always, Never };

struct CWatchOptions {
    std::wstring appsFile;        ///< full path
    bool isAppsFileNamed = false; ///< by whoever starts it; otherwise it is the machine's
    RestoreMode restore = RestoreMode::Ask;
    std::chrono::seconds checkpoint{0}; ///< how often; never when zero
    CCheckpointRules keep;
    std::chrono::seconds scriptLimit{60};
};

class CWatcher : private IWatchEvents {
public:
    /// Throws CCommandError when the session cannot be watched.
    explicit CWatcher(const CWatchOptions& options);

    /// Returns when the session ends or the watcher is asked to.
    void Run();

private:
    bool OnQueryEnd(LPARAM flags) override;
    void OnEnd(bool ends) override;
    bool OnQuerySuspend() override;
    void OnSuspend() override;
    void OnSuspendRefused() override;
    void OnResume() override;
    void OnTimer() override;
    void OnIcon(UINT mouse) override;
    void OnNewTaskbar() override;

    enum class Busy { No, Saving, Checkpoint };

    CSaveOutcome Save(const CSaveOrder& order, Busy busy, const std::function<void(const std::wstring&)>& onScript);
    bool SaveBefore(const std::wstring& what, const CSaveOrder& order, bool canBeStopped);
    bool IsAnythingProtected() const;
    void ShowState(WatchState state, const std::wstring& text);
    void ShowProtected();
    CSaveOrder Order(const std::wstring& state) const;

    void MakeCheckpoint();
    void KeepCheckpoint(const std::wstring& store);
    void ClearCheckpoints();

    void StartRecord();
    void LookForDocuments();
    void Restore(const std::vector<CSavedDocument>& documents);
    void RememberAsked(const std::vector<CSavedDocument>& documents);
    void ShowHistory();
    void WriteRecord();

    const CWatchOptions m_options;
    const std::wstring m_recordPath;
    CWatchRecord m_record;
    std::wstring m_offeredCheckpoint; ///< of a session that ended without notice; empty when there is none
    CWatchWindow m_window;
    CNotifyIcon m_icon;
    CRestoreWindow m_restoreWindow;
    CSaver m_saver;
    Busy m_busy = Busy::No;
    bool m_savedForEnd = false;
    bool m_sessionEnded = false;
    bool m_savedForSuspend = false;
    std::optional<DWORD> m_inputAtCheckpoint;
};
