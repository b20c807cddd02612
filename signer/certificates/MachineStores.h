#pragma once

// The machine's certificate stores, kept open from one verification to the next: opening one costs more than everything
// that is done with it. Who changes a store anywhere in the system changes its record in the registry, which tells this
// process before the change is complete; what is looked for afterwards is looked for in stores opened anew. Nothing of
// what was found in one is remembered. Any thread.

#include "common/CryptHandles.h"

#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

class CMachineStores {
public:
    static CMachineStores& Instance();

    /// As OpenSystemStore for reading, of the local machine: empty when there is no such store.
    CUniqueStore Open(const wchar_t* name);

    /// Two that are looked into one after the other: the system is asked once whether anything has changed.
    std::pair<CUniqueStore, CUniqueStore> Open(const wchar_t* first, const wchar_t* second);

private:
    CMachineStores() = default;

    bool IsUnchanged() const;
    bool Watch();
    bool MayKeep();
    CUniqueStore OpenOne(const wchar_t* name, bool keep);

    std::mutex m_mutex;
    CUniqueHandle m_changed;
    std::vector<CUniqueRegKey> m_keys;
    std::map<std::wstring, CUniqueStore> m_stores;
};
