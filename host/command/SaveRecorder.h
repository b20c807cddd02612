#pragma once

// Keeps the record of a save while its scripts run: each document's application from the first time that the record
// reaches the disk, its scripts' names as soon as its script has ended, and the state change once the store is
// finished. A worker that is killed in between leaves what it had, and what it has reported. On the thread that runs
// the scripts.

#include "HostStateChange.h"
#include "SaveOperation.h"
#include "ScriptExecution/SaveObserver.h"
#include "WorkerEvent.h"

#include <string>
#include <vector>

class CSaveRecorder : public ISaveObserver {
public:
    /// All three outlive it.
    CSaveRecorder(const CHostStateChange& change, CSaveOperation& op, IWorkerEvents& events)
        : m_change(change), m_op(op), m_events(events) {}

    /// Before the first script: sees to it that the store has a directory of its own.
    void OnScriptStarting(const CDocumentScript& app, unsigned long processId,
                          CInternalDocumentStore& store) noexcept override;
    void OnScriptEnded(const CDocumentScript& app, unsigned long processId, CInternalDocumentStore& store,
                       long result) noexcept override;
    void OnStoreFinished(CInternalDocumentStore& store) noexcept override;

    /// Tells of the documents that the running script has asked for since the last time. Any thread may ask for it;
    /// only the scripts' own is answered.
    void ReportDocuments() noexcept;

    /// The last script and its process when it did not come to its end, else empty.
    const std::wstring& GetFailedRun() const { return m_failedRun; }

    /// That the last script ran for; 0 before the first one.
    unsigned long GetProcessId() const { return m_processId; }

    /// The store's directory; empty when no document was asked for.
    const std::wstring& GetDirectory() const { return m_directory; }
    /// The paths that documents were to be saved to, in the order of their reservation.
    const std::vector<std::wstring>& GetDocuments() const { return m_documents; }
    /// Why the record could not be completed; empty when it was.
    const std::wstring& GetProblem() const { return m_problem; }

private:
    void Complete(CInternalDocumentStore& store);

    const CHostStateChange& m_change;
    CSaveOperation& m_op;
    IWorkerEvents& m_events;
    bool m_hasRun = false;
    CInternalDocumentStore* m_store = nullptr; ///< while a script runs
    unsigned long m_thread = 0;
    std::size_t m_firstDocument = 0; ///< index in the store of the running script's first document
    std::size_t m_reported = 0;      ///< how many documents of the store have been told of
    bool m_wasVetoed = false;        ///< before the running script
    unsigned long m_processId = 0;
    std::wstring m_run;
    std::wstring m_failedRun;
    std::wstring m_directory;
    std::vector<std::wstring> m_documents;
    std::wstring m_problem;
};
