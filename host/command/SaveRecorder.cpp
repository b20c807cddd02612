#include "SaveRecorder.h"

#include "base/UniqueHandle.h"
#include "Console.h"
#include "InfoFileText.h"
#include "InternalDocumentStore.h"
#include "ScriptExecution/DocumentStoreXMLWriter.h"
#include "SaveTurn.h"
#include "ScriptExecution/StateChangeInstance.h"
#include "StoreCatalog.h"
#include "base/Exceptions.h"

namespace {
/// Full path of a process's executable; empty when the process is gone or may not be looked into.
std::wstring PathOfProcess(DWORD processId) {
    const CUniqueHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
    std::wstring path(32768, L'\0');
    DWORD length = static_cast<DWORD>(path.size());
    path.resize(process && QueryFullProcessImageNameW(process.Get(), 0, path.data(), &length) ? length : 0);
    return path;
}

void WriteRecord(const CInternalDocumentStore& store, CStateChangeInstance* change) {
    CDocumentStoreXMLWriter::WriteDocumentStore(WritableCopy(store).get(), change);
}
} // namespace

void CSaveRecorder::OnScriptStarting(const CDocumentScript& app, unsigned long processId,
                                     CInternalDocumentStore& store) noexcept {
    m_firstDocument = store.GetSavedDocumentList()->size();
    m_run = L"'" + app.GetScriptName() + L"', process " + std::to_wstring(processId);
    try {
        if (m_runCount++ == 0)
            TakeFreshDirectory(store);
        const std::wstring path = PathOfProcess(processId);
        store.SetCurrentAppInfo(path.substr(path.find_last_of(L'\\') + 1), app.GetAppFriendlyName(), path);
        PrintLine(L"protected  " + app.GetAppFriendlyName() + L", process " + std::to_wstring(processId) + L", " +
                  path);
    } catch (const std::exception&) {
        // The script's name, added when it has ended, also leads to the application.
    }
}

void CSaveRecorder::OnScriptEnded(const CDocumentScript& app, unsigned long, CInternalDocumentStore& store,
                                  long result) noexcept {
    m_failedRun = FAILED(result) ? m_run : std::wstring();
    const auto& documents = *store.GetSavedDocumentList();
    if (m_firstDocument == documents.size())
        return;
    try {
        for (std::size_t i = m_firstDocument; i < documents.size(); ++i) {
            documents[i]->SetSaveScriptName(app.GetScriptName());
            documents[i]->SetRestoreScriptName(app.GetRestoreScript().GetScriptName());
        }
        WriteRecord(store, nullptr);
    } catch (const std::exception&) {
        // Written again with the next document, and at the end, where a failure counts.
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
    CStateChangeInstance change;
    change.SetStateChangeType(m_state);
    change.SetUTCTimestamp(m_changed);
    // Of the changes that run scripts only a shutdown can be written down.
    WriteRecord(store, m_state == Shutdown ? &change : nullptr);
}
