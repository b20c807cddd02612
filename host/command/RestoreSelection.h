#pragma once

// Which documents a restore is about.

#include "RestoreRequest.h"
#include "StoreCatalog.h"

#include <vector>

struct CSelectedDocument {
    CStoreEntry* store;
    CInternalSavedDocument* document;
    std::size_t index; ///< of the document in its store

    std::wstring SavedCopy() const;
};

struct CRestoreSelection {
    std::vector<CSelectedDocument> documents;
    /// Older copies, which are passed over where the request wants the newest alone.
    std::vector<CSelectedDocument> older;
    /// Full paths of what lies in the stores that were asked for as a whole, and is named by no record.
    std::vector<std::wstring> unrecorded;
};

/// Without a document's own name only those are taken that no script was started for yet. Throws CCommandError for a
/// name that nothing has.
CRestoreSelection SelectDocuments(std::vector<CStoreEntry>& stores, const CRestoreRequest& request);
