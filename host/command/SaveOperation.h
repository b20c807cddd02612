#pragma once

// The library's save as the command runs it. The runner neither looks at the result of Run nor survives an exception
// out of it; the command wants both.

#include "ScriptError.h"
#include "ScriptExecution/StateChangeScriptOp.h"
#include "WorkerEvent.h"

#include <optional>
#include <string>

class CSaveOperation : public CStateChangeScriptOp {
public:
    /// Never throws; E_FAIL for an exception.
    long Run() override;

    /// Why Run did not come to its end; empty when it did, a script that failed included.
    const std::wstring& GetFailure() const { return m_failure; }

    /// Of the script that failed, if one did.
    std::optional<CScriptError> TakeScriptError();

    /// What is known of the error of the script that has just ended, if it has one; while Run runs, on its thread.
    std::optional<CScriptErrorData> GetCurrentError();

private:
    std::wstring m_failure = L"it was never started";
};
