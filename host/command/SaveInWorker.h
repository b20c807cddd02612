#pragma once

// A save by a worker: what has become of it, whatever has become of the worker.

#include "SaveProgress.h"
#include "SaveWork.h"
#include "WorkerProcess.h"

#include <functional>
#include <string>

struct CSaveRun {
    CSaveRequest request;
    CWorkerLimits limits;
    /// What the caller hears beside the progress.
    CWorkerWatch watch{};
    /// Told the worker's process identifier once it runs.
    std::function<void(unsigned long)> onStarted{};
    std::wstring program = OwnProgram();
};

/// Completes the record of a save that its worker did not finish; why is the first of the troubles then. Throws
/// CCommandError when there is nothing that could be run.
CSaveResult SaveInWorker(const CSaveRun& run, CSaveProgress& progress);
