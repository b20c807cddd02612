#pragma once

// Whether a script is written as its language demands.

#include "ScriptError.h"
#include "ScriptExecution/Script.h"

#include <optional>

/// The first mistake that the language's engine finds when it reads the script, without running any of it; nothing when
/// there is none. Throws CCommandError when the engine does not start. The calling thread must not be in
/// the multi-threaded apartment.
std::optional<CScriptError> FindSyntaxError(const CScript& script);
