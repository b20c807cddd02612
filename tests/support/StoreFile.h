#pragma once

// Stores on disk as a host leaves them, without running a save.

#include "DocumentsFolder.h"
#include "InternalDocumentStore.h"
#include "StoreCatalog.h"

#include <fstream>

struct CStoredDocument {
    std::wstring name; ///< of the saved copy, which is made
    bool recovered = false;
    std::wstring tempPath = {}; ///< when it is to be another than that of the copy
};

/// Makes the store's directory, its info file and the saved copies.
inline CStoreEntry MakeStore(const CDocumentsFolder& folder, const std::wstring& name,
                             const std::vector<CStoredDocument>& documents) {
    CStoreEntry store;
    store.name = name;
    store.directory = (folder.Base() / name).wstring();
    store.info = std::make_unique<CDocumentStoreInfo>();
    std::filesystem::create_directories(store.directory);
    for (const auto& document : documents) {
        const std::wstring copy = store.directory + L"\\" + document.name;
        std::ofstream(std::filesystem::path(copy)) << "text";
        auto& record = *store.info->GetInternalDocumentStore()->GetSavedDocumentList()->emplace_back(
            std::make_unique<CInternalSavedDocument>());
        record.SetDocName(document.name);
        record.SetDocTempPath(document.tempPath.empty() ? copy : document.tempPath);
        record.SetAppExeImageName(L"editor.exe");
        record.SetRestoreScriptName(L"restore.js");
        record.SetStatus(document.recovered ? TEMP_DOCUMENT_RECOVERED : TEMP_DOCUMENT_NOT_RECOVERED);
    }
    WriteStore(store);
    return store;
}

/// Status of each document as it stands on disk.
inline std::vector<bool> RecoveredOnDisk(const CStoreEntry& store) {
    std::vector<bool> recovered;
    const CStoreEntry read = ReadStore(store.name);
    for (const auto* document : read.Documents())
        recovered.push_back(document->GetStatus() == TEMP_DOCUMENT_RECOVERED);
    return recovered;
}
