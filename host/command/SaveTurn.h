#pragma once

// A store directory is named after the second in which its save begins, so two saves in one second would share it, and
// the later one's record would replace the earlier one's. Saves of one user therefore take turns, and each waits for a
// second whose directory nobody has made.

#include "base/UniqueHandle.h"

#include <functional>

class CInternalDocumentStore;

/// One save's turn among all processes of the user, from construction to destruction on one thread.
class CSaveTurn {
public:
    /// Waits for the saves before it; says so first when there is one.
    explicit CSaveTurn(const std::function<void()>& onWaiting = {});
    ~CSaveTurn();

    CSaveTurn(const CSaveTurn&) = delete;
    CSaveTurn& operator=(const CSaveTurn&) = delete;

private:
    CUniqueHandle m_mutex;
};

/// Gives a store that holds no document yet a directory that is not there, waiting for the next second while it must:
/// also where the clock was set back, and where somebody made directories for seconds to come.
void TakeFreshDirectory(CInternalDocumentStore& store);
