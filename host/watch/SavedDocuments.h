#pragma once

// The documents in the stores, as the user knows them.

#include <string>
#include <vector>

struct CSavedDocument {
    std::wstring application; ///< its name for people
    std::wstring name;
    std::wstring originalPath; ///< empty when there was none
    std::wstring copy;         ///< the full path of the saved copy
    std::wstring store;        ///< the name of its store, which tells the time
    bool recovered = false;

    /// "2026-11-21 21:08:54", or the store's name when somebody chose another.
    std::wstring Time() const;
    /// Whether both are the same document, at one time or another.
    bool IsSameDocument(const CSavedDocument& other) const;
};

/// Every document whose saved copy is there, the newest store first. What cannot be read is passed over: `quorline
/// history` names it.
std::vector<CSavedDocument> ReadSavedDocuments();

/// Of each document the first.
std::vector<CSavedDocument> NewestCopies(const std::vector<CSavedDocument>& documents);
