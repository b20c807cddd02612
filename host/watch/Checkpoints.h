#pragma once

// Which checkpoints are worth keeping.

#include "SavedDocuments.h"

#include <chrono>
#include <string>
#include <vector>

struct CCheckpointRules {
    std::size_t count = 5; ///< how many are kept
    std::chrono::seconds age = std::chrono::hours(48);
};

/// Whether two stores hold the same documents, byte for byte.
bool HoldSameDocuments(const std::vector<CSavedDocument>& all, const std::wstring& store, const std::wstring& other);

/// The checkpoints (names, oldest first) that may go: more than the number or older than the age, and no unrecovered
/// document has its only or its newest copy there. `all` is every document of every store, newest first.
std::vector<std::wstring> FindSuperseded(const std::vector<std::wstring>& checkpoints,
                                         const std::vector<CSavedDocument>& all, const CCheckpointRules& rules);

/// Removes a store with everything in it. False when something of it stays.
bool RemoveStore(const std::wstring& store);
