#pragma once

// A save as its worker does it: the library's operation, with a record that is complete at every moment, and word of
// each step to whoever started the worker.

#include "AppsFile.h"
#include "SaveRequest.h"
#include "WorkerEvent.h"

#include <string>
#include <vector>

struct CSavedDocumentResult {
    std::wstring path;
    bool written = false; ///< false when the script that asked for it never wrote it
};

struct CSaveResult {
    std::wstring directory; ///< the store's; empty when no document was asked for
    std::vector<CSavedDocumentResult> documents;
    std::vector<std::wstring> troubles; ///< what speaks against the state change, a sentence each
    bool vetoed = false;                ///< by the library or a script
    bool hasRun = false;                ///< some script
    std::wstring idle;                  ///< else why none
};

/// Throws CCommandError when there is nothing that could be run.
CSaveResult DoSave(const CSaveRequest& request, IWorkerEvents& events);

/// The same for applications that are at hand, in an apartment where the components are known to be registered.
CSaveResult SaveApps(const ProtectedApps& apps, _STATE_CHANGE_TYPE state, IWorkerEvents& events);

nlohmann::json ToJson(const CSaveRequest& request);
CSaveRequest SaveRequestFromJson(const nlohmann::json& value);
nlohmann::json ToJson(const CSaveResult& result);
CSaveResult SaveResultFromJson(const nlohmann::json& value);
