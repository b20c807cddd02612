#pragma once

// What a trial leaves behind, and how it goes. A scratch store lies where every store lies, since a script is to see
// nothing unusual; a file in it says that it is none, so that nobody lists or restores it. One that was left by a trial
// that was ended goes with the next.

#include "base/UniqueHandle.h"
#include "DirectoryListing.h"

#include <string>

/// A folder of the trial's own, removed with it.
class CScratchFolder {
public:
    /// Throws CCommandError.
    CScratchFolder();
    ~CScratchFolder();
    CScratchFolder(const CScratchFolder&) = delete;
    CScratchFolder& operator=(const CScratchFolder&) = delete;

    const std::wstring& Path() const { return m_path; }
    void Keep() { m_kept = true; }

private:
    std::wstring m_path;
    bool m_kept = false;
};

/// Has a store's directory count as no store from now on, and stay while the object lives.
class CScratchMark {
public:
    void Put(const std::wstring& storeDirectory);

private:
    CUniqueHandle m_file;
};

/// Whether a directory that holds this is such a store.
bool IsScratch(const std::vector<CListedFile>& files);

/// Removes every scratch store of a folder of stores that no trial is using.
void RemoveScratchStores(const std::wstring& storesDirectory);
