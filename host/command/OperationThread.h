#pragma once

// Runs one script operation on a worker thread of the library's and waits for its end.

#include "ScriptExecution/AsyncOp.h"

/// Returns when the operation has returned and its runner is gone, so that both may be destroyed. The runner frees
/// itself: one that lives here could still be in use by its worker when waiting for it ends. Throws CMorvaneException
/// when the worker cannot be started. An exception out of Run would end the process: let none pass.
void RunOnWorker(IAsyncOp& operation);
