#pragma once

// Whether the saved copy that a record names may be handed to a restore script. A record is a file in the user's
// documents: it may have come from anywhere, and scripts pass the path on to shells and applications.

#include <string>

struct CSavedCopyAnswer {
    enum class Kind {
        Usable,
        Missing, ///< there is nothing
        Refused, ///< there may be something, and it is left alone
    };
    Kind kind;
    std::wstring reason; ///< empty for a usable copy
};

/// Usable is an ordinary file, no link, directly in the store's own directory, which must be no link either, under a
/// name without a quotation mark, a colon and control characters. What lies elsewhere by its path alone, such as on
/// another machine, is not even looked at.
CSavedCopyAnswer ExamineSavedCopy(const std::wstring& storeDirectory, const std::wstring& path);

/// The same for the copies of many stores of one directory, which is resolved but once.
class CSavedCopies {
public:
    explicit CSavedCopies(const std::wstring& storesDirectory);

    /// The store lies directly in the directory of the stores.
    CSavedCopyAnswer Examine(const std::wstring& storeDirectory, const std::wstring& path) const;

private:
    std::wstring m_finalPath; ///< of the directory of the stores; empty where the file system does not tell
};
