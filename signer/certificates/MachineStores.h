#pragma once

// The machine's certificate stores, kept open from one verification to the next: opening one costs more than everything
// that is done with it. Who changes a store anywhere in the system changes its record in the registry, which tells this
// process before the change is complete; what is looked for afterwards is looked for in stores opened anew. Nothing of
// what was found in one is remembered. Any thread.

#include "common/CryptHandles.h"

#include <map>
#include <mutex>
#include <string>
#include <vector>

class CMachineStores {
public:
    static CMachineStores& Instance();

    /// As OpenSystemStore for reading, of the local machine: empty when there is no such store.
    CUniqueStore Open(const wchar_t* name);

private:
    CMachineStores() = default;

    bool IsUnchanged() const;
    bool Watch();

    std::mutex m_mutex;
    CUniqueHandle m_changed;
    std::vector<CUniqueRegKey> m_keys;
    std::map<std::wstring, CUniqueStore> m_stores;
};
