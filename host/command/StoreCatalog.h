#pragma once

// The document stores on disk, each with the directory it was found in. One unreadable store does not hide the others.

#include "DirectoryListing.h"
#include "InternalSavedDocument.h"
#include "ScriptExecution/DocumentStoreInfo.h"
#include "ScriptExecution/StateChangeInstance.h"

#include <memory>
#include <string>
#include <vector>

struct CStoreEntry {
    std::wstring name;                        ///< of the directory: the local time of the change
    std::wstring directory;                   ///< full path
    std::vector<CListedFile> files;           ///< what the directory held when it was read
    std::unique_ptr<CDocumentStoreInfo> info; ///< null when the info file cannot be read
    std::wstring problem;                     ///< then why

    std::vector<CInternalSavedDocument*> Documents() const;
    bool HasStateChange() const;
    std::wstring InfoPath() const;
};

/// Full path of the directory that holds the stores.
std::wstring StoresDirectory();

/// The directories that hold an info file, in directory-search order.
std::vector<CStoreEntry> ReadStores();

/// Of this name, whether it holds an info file or not.
CStoreEntry ReadStore(const std::wstring& name);

/// The bytes of an info file. Throws CCommandError.
std::string ReadInfoFile(const std::wstring& path);

/// Writes a store's info file anew; a failure leaves the old one. Throws CCommandError.
void WriteStore(const CStoreEntry& store);

/// Why an exception came, as far as it tells.
std::wstring DescribeException(const std::exception& error);
