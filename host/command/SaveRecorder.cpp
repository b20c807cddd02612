#include "SaveRecorder.h"

#include "InternalDocumentStore.h"
#include "ScriptExecution/DocumentStoreXMLWriter.h"
#include "ProcessPath.h"
#include "SaveTurn.h"
#include "ScriptExecution/StateChangeInstance.h"
#include "ScriptExecution/WritableStore.h"
#include "StoreCatalog.h"
#include "base/Exceptions.h"

namespace {
void WriteRecord(const CInternalDocumentStore& store, CStateChangeInstance* change) {
    CDocumentStoreXMLWriter::WriteDocumentStore(WritableCopy(store).get(), change);
}
} // namespace

void CSaveRecorder::OnScriptStarting(const CDocumentScript& app, unsigned long processId,
                                     CInternalDocumentStore& store) noexcept {
    m_firstDocument = store.GetSavedDocumentList()->size();
    m_store = &store;
    m_thread = GetCurrentThreadId();
    m_processId = processId;
    m_wasVetoed = m_change.IsVetoed();
    m_run = L"'" + app.GetScriptName() + L"', process " + std::to_wstring(processId);
    try {
        if (!std::exchange(m_hasRun, true))
            TakeFreshDirectory(store);
        const std::wstring path = PathOfProcess(processId);
        const std::wstring imageName = path.substr(path.find_last_of(L'\\') + 1);
        store.SetCurrentAppInfo(imageName, app.GetAppFriendlyName(), path);
        m_events.Report(CScriptStartedEvent{app.GetAppFriendlyName(), processId, imageName, path, app.GetScriptName(),
                                            app.GetRestoreScript().GetScriptName()});
    } catch (const std::exception&) {
        // The script's name, added when it has ended, also leads to the application.
    }
}

void CSaveRecorder::ReportDocuments() noexcept {
    if (m_store == nullptr || GetCurrentThreadId() != m_thread)
        return;
    const auto& documents = *m_store->GetSavedDocumentList();
    try {
        for (; m_reported < documents.size(); ++m_reported) {
            CDocumentReservedEvent event;
            documents[m_reported]->GetDocName(event.name);
            documents[m_reported]->GetDocOriginalPath(event.originalPath);
            documents[m_reported]->GetDocTempPath(event.path);
            m_events.Report(event);
        }
    } catch (const std::exception&) {
        // They are told of with the next one, and stand in the record.
    }
}

void CSaveRecorder::OnScriptEnded(const CDocumentScript& app, unsigned long, CInternalDocumentStore& store,
                                  long result) noexcept {
    ReportDocuments();
    m_failedRun = FAILED(result) ? m_run : std::wstring();
    const auto& documents = *store.GetSavedDocumentList();
    try {
        for (std::size_t i = m_firstDocument; i < documents.size(); ++i) {
            documents[i]->SetSaveScriptName(app.GetScriptName());
            documents[i]->SetRestoreScriptName(app.GetRestoreScript().GetScriptName());
        }
        if (m_firstDocument != documents.size())
            WriteRecord(store, nullptr);
    } catch (const std::exception&) {
        // Written again with the next document, and at the end, where a failure counts.
    }
    m_store = nullptr;
    try {
        CScriptEndedEvent ended;
        ended.failed = FAILED(result);
        // The library has not vetoed for a failure yet.
        ended.vetoed = !m_wasVetoed && m_change.IsVetoed();
        ended.error = m_op.GetCurrentError();
        m_events.Report(ended);
    } catch (const std::exception&) {
        // The next event ends this one's time.
    }
}

void CSaveRecorder::OnStoreFinished(CInternalDocumentStore& store) noexcept {
    try {
        Complete(store);
    } catch (const std::exception& error) {
        m_problem = DescribeException(error);
    }
}

void CSaveRecorder::Complete(CInternalDocumentStore& store) {
    if (store.GetSavedDocumentList()->empty())
        return;
    store.GetStorageDirectory(m_directory, false);
    for (const auto& document : *store.GetSavedDocumentList())
        document->GetDocTempPath(m_documents.emplace_back());
    const std::uint64_t time = m_change.GetTime();
    CStateChangeInstance change;
    change.SetStateChangeType(m_change.GetState());
    change.SetUTCTimestamp({static_cast<DWORD>(time & 0xFFFFFFFF), static_cast<DWORD>(time >> 32)});
    // Of the changes that run scripts only a shutdown can be written down.
    WriteRecord(store, m_change.GetState() == Shutdown ? &change : nullptr);
}
