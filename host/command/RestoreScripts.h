#pragma once

// Finds the application whose restore script a document gets.

#include "AppsFile.h"
#include "InternalSavedDocument.h"

#include <memory>

class CRestoreScripts {
public:
    /// Reads the applications file, and the script that is to be run whatever records say; either may be empty. Throws
    /// CCommandError.
    CRestoreScripts(const std::wstring& appsFile, const std::wstring& script);

    /// The script given on the command line. Otherwise the application whose restore script the record names; of
    /// several whose scripts have one name, the one that the saving program belongs to. A host that was killed leaves
    /// records that name no script: they too go by their program. Null when there is none.
    const CDocumentScript* Find(const CInternalSavedDocument& document) const;

private:
    ProtectedApps m_apps;
    std::unique_ptr<CDocumentScript> m_override;
};
