#pragma once

// Keeps the record of a save while its scripts run: each document's application from the first time that the record
// reaches the disk, its scripts' names as soon as its script has ended, and the state change once the store is
// finished. A host that is killed in between leaves what it had.

#include "ScriptExecution/SaveObserver.h"
#include "ScriptExecution/StateChangeTypes.h"

#include <windows.h>

#include <string>
#include <vector>

class CSaveRecorder : public ISaveObserver {
public:
    /// The time is the state change's, UTC.
    CSaveRecorder(_STATE_CHANGE_TYPE state, const FILETIME& changed) : m_state(state), m_changed(changed) {}

    /// Before the first script: sees to it that the store has a directory of its own. Then prints which application's
    /// script runs for which process.
    void OnScriptStarting(const CDocumentScript& app, unsigned long processId,
                          CInternalDocumentStore& store) noexcept override;
    void OnScriptEnded(const CDocumentScript& app, unsigned long processId, CInternalDocumentStore& store,
                       long result) noexcept override;
    void OnStoreFinished(CInternalDocumentStore& store) noexcept override;

    /// How many save scripts were started.
    std::size_t GetRunCount() const { return m_runCount; }

    /// The last script and its process when it did not come to its end, else empty.
    const std::wstring& GetFailedRun() const { return m_failedRun; }

    /// The store's directory; empty when no document was asked for.
    const std::wstring& GetDirectory() const { return m_directory; }
    /// The paths that documents were to be saved to, in the order of their reservation.
    const std::vector<std::wstring>& GetDocuments() const { return m_documents; }
    /// Why the record could not be completed; empty when it was.
    const std::wstring& GetProblem() const { return m_problem; }

private:
    void Complete(CInternalDocumentStore& store);

    const _STATE_CHANGE_TYPE m_state;
    const FILETIME m_changed;
    std::size_t m_runCount = 0;
    std::size_t m_firstDocument = 0; ///< index in the store of the running script's first document
    std::wstring m_run;
    std::wstring m_failedRun;
    std::wstring m_directory;
    std::vector<std::wstring> m_documents;
    std::wstring m_problem;
};
