#pragma once

// One script run for one process, as a save or a restore would run it; in a worker.

#include "SaveWork.h"

struct CTryOrder {
    std::wstring script;         ///< path of a signed script
    unsigned long processId = 0; ///< that it runs for
    std::wstring document;       ///< what a restore script restores; empty for a save script
    std::wstring originalPath;   ///< of the document
};

/// A save's result also for a restore script, which asks for no documents. Throws CCommandError when the script cannot
/// be run at all.
CSaveResult DoTry(const CTryOrder& order, IWorkerEvents& events);

nlohmann::json ToJson(const CTryOrder& order);
CTryOrder TryOrderFromJson(const nlohmann::json& value);
