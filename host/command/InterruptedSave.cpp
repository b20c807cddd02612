#include "InterruptedSave.h"

#include "InternalDocumentStore.h"
#include "StoreCatalog.h"

namespace {
void FillIn(CInternalSavedDocument& record, const CReservedDocument& known) {
    record.SetDocName(known.document.name);
    record.SetDocOriginalPath(known.document.originalPath);
    record.SetDocTempPath(known.document.path);
    record.SetAppExeImageName(known.run.imageName);
    record.SetAppPath(known.run.path);
    record.SetAppFriendlyName(known.run.application);
    record.SetSaveScriptName(known.run.script);
    record.SetRestoreScriptName(known.run.restoreScript);
}

/// The records on disk come in the order in which they were told of; the last ones of either may be missing in the
/// other. The values on disk may be garbled until the save has come to its end.
void FillIn(CInternalDocumentStore& store, const CSaveProgress& progress) {
    auto& records = *store.GetSavedDocumentList();
    const auto& known = progress.GetDocuments();
    while (records.size() < known.size())
        records.push_back(std::make_unique<CInternalSavedDocument>());
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (i < known.size()) {
            FillIn(*records[i], known[i]);
        } else if (progress.GetRunning()) {
            records[i]->SetSaveScriptName(progress.GetRunning()->script);
            records[i]->SetRestoreScriptName(progress.GetRunning()->restoreScript);
        }
    }
}

void WriteRecord(CStoreEntry& store, const CSaveProgress& progress, _STATE_CHANGE_TYPE state) {
    if (!store.info)
        store.info = std::make_unique<CDocumentStoreInfo>(); // no record was written yet, or none that can be read
    FillIn(*store.info->GetInternalDocumentStore(), progress);
    if (state == Shutdown) {
        const std::uint64_t time = progress.GetChanged();
        store.info->GetStateChangeInstance()->SetStateChangeType(state);
        store.info->GetStateChangeInstance()->SetUTCTimestamp(
            {static_cast<DWORD>(time & 0xFFFFFFFF), static_cast<DWORD>(time >> 32)});
    }
    WriteStore(store);
}
} // namespace

CSaveResult CompleteInterruptedSave(const CSaveProgress& progress, _STATE_CHANGE_TYPE state) {
    CSaveResult result;
    result.vetoed = true;
    if (progress.GetDocuments().empty())
        return result;
    const std::wstring& first = progress.GetDocuments().front().document.path;
    result.directory = first.substr(0, first.find_last_of(L'\\'));
    CStoreEntry store = ReadStore(result.directory.substr(result.directory.find_last_of(L'\\') + 1));
    try {
        WriteRecord(store, progress, state);
    } catch (const std::exception& error) {
        result.troubles.push_back(L"the record of the store '" + result.directory + L"' could not be completed: " +
                                  DescribeException(error));
    }
    for (const CInternalSavedDocument* record : store.Documents()) {
        std::wstring path;
        record->GetDocTempPath(path);
        result.documents.push_back({path, GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES});
    }
    return result;
}
