#pragma once

// Watches a save: which process the scripts run for, and which documents came into the new store meanwhile. Afterwards
// it completes the store's record with the application and the scripts of each document.

#include "AppsFile.h"
#include "StoreCatalog.h"
#include "session/SessionObserver.h"

#include <optional>
#include <set>
#include <string>
#include <vector>

class CSaveRecorder : public ISessionObserver {
public:
    /// One run of a save script.
    struct CRun {
        DWORD processId;
        std::wstring path;          ///< of the process's executable
        const CDocumentScript* app; ///< whose script ran; null when it cannot be told
        std::size_t firstDocument;  ///< index in the store of the first document saved by it
    };

    /// The applications are those the operation runs, in its order; they outlive the recorder. From here to its end
    /// the recorder is the process's session observer.
    CSaveRecorder(const ProtectedApps& apps, _STATE_CHANGE_TYPE state);
    ~CSaveRecorder();

    CSaveRecorder(const CSaveRecorder&) = delete;
    CSaveRecorder& operator=(const CSaveRecorder&) = delete;

    void OnProcessRequested(DWORD processId, const wchar_t* path) noexcept override;

    const std::vector<CRun>& GetRuns() const { return m_runs; }

    /// The store that the save made, with its record completed and written back; none when no document was asked for.
    /// The time is the state change's, UTC. Throws CCommandError.
    std::optional<CStoreEntry> Complete(const FILETIME& changed);

private:
    std::optional<CStoreEntry> FindNewStore() const;
    const CDocumentScript* NextApp(DWORD processId);

    const ProtectedApps& m_apps;
    const _STATE_CHANGE_TYPE m_state;
    std::set<std::wstring> m_before;
    std::vector<CRun> m_runs;
    std::size_t m_currentApp = 0;
};
