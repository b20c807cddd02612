#pragma once

// Marks documents of one store as recovered, on disk, while their restore scripts are run one after another.
//
// A document must count as recovered on disk before its script starts: a command that is killed then never starts a
// script a second time, which could overwrite what the user has changed since. To rewrite the whole record each time
// would take time with the square of the documents, so only the five bytes of the one value are overwritten: "False" by
// "True" and a tab, which readers trim. The process's end cannot part a single write of five bytes, and a power failure
// that does leaves a mixture that reading mends. It needs no room, so it works on a full disk too.

#include "StoreCatalog.h"

#include <vector>

class CRecoveryMarks {
public:
    explicit CRecoveryMarks(CStoreEntry& store) : m_store(store), m_documents(store.Documents()) {}
    /// Gives a file that was changed the layout of the library's writer again.
    ~CRecoveryMarks();

    CRecoveryMarks(const CRecoveryMarks&) = delete;
    CRecoveryMarks& operator=(const CRecoveryMarks&) = delete;

    /// Sets a document's status in the record and on disk. Throws CCommandError, with nothing changed, when the info
    /// file cannot be written.
    void Set(std::size_t document, TEMP_DOCUMENT_STATUS status);

private:
    bool Overwrite(std::size_t document, TEMP_DOCUMENT_STATUS status);
    void FindValues();

    CStoreEntry& m_store;
    const std::vector<CInternalSavedDocument*> m_documents;
    std::vector<long long> m_values; ///< where each document's value stands; empty until it is known
    bool m_overwritten = false;
};
