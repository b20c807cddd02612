#pragma once

// Completes the record of a save whose worker was ended.

#include "SaveProgress.h"
#include "SaveWork.h"
#include "ScriptExecution/StateChangeTypes.h"

/// Writes the record as the worker would have written it in the end: with application and scripts of each document, and
/// the state change. Every document that is there stays. What cannot be written is a trouble of the result's.
CSaveResult CompleteInterruptedSave(const CSaveProgress& progress, _STATE_CHANGE_TYPE state);
