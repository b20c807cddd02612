#pragma once

// A restore as its worker does it: documents one after another, with word of each to whoever started the worker.

#include "WorkerEvent.h"

#include <string>
#include <vector>

/// A document by its store and its place in the store's record.
struct CDocumentPlace {
    std::wstring store; ///< name of its directory
    std::size_t index = 0;
};

struct CRestoreOrder {
    std::wstring appsFile; ///< may be empty when there is a script
    std::wstring script;   ///< to run for each document, whatever its record says; or empty
    std::vector<CDocumentPlace> documents;
};

/// Runs the restore scripts and marks their documents as recovered, each before its script starts. Each is reported as
/// a script that starts and ends, also where none was run. Throws CCommandError when nothing could be run.
void DoRestore(const CRestoreOrder& order, IWorkerEvents& events);

nlohmann::json ToJson(const CRestoreOrder& order);
CRestoreOrder RestoreOrderFromJson(const nlohmann::json& value);
