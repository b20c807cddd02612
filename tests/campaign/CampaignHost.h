#pragma once

// A host as the guide for hosts has it, that saves and restores one protected application's documents with the library,
// the real session server, signer and engines:
//
//     CCampaignHost host(folder);                // with the scripts; any thread of the multi-threaded apartment
//     const CSaved saved = host.Save();
//     const CRestored restored = host.Restore();
//
// Whatever goes wrong is told in the results; nothing is thrown.

#include "ScriptExecution/DocumentScript.h"

#include "HostDoubles.h"

#include <windows.h>

#include <string>
#include <vector>

struct CSaved {
    long result = E_PENDING; ///< of the operation
    std::wstring trouble;    ///< what was raised, and where; empty for nothing
    bool hasError = false;   ///< a save script failed
    bool vetoed = false;
    std::size_t documents = 0; ///< reserved by the scripts
    std::wstring directory;    ///< the store's; empty without documents
    unsigned long changes = 0; ///< references to the change that are left, beyond the host's own
    bool Complete() const { return result == S_OK && trouble.empty() && !hasError && !vetoed; }
};

struct CRestored {
    std::wstring trouble;
    std::size_t stores = 0;
    std::size_t documents = 0; ///< that were not recovered before
    std::size_t recovered = 0; ///< whose script ran to its end
    std::size_t failed = 0;    ///< whose script or record did not
};

class CCampaignHost {
public:
    /// The folder has the scripts "save" and "restore", in either language; throws std::runtime_error when it has not.
    explicit CCampaignHost(const std::wstring& folder);

    CSaved Save();
    CRestored Restore();

private:
    CDocumentScript m_app;
};

/// The file name of the application that the host protects.
inline constexpr const wchar_t* ProtectedProgram = L"QlCampaign.exe";
