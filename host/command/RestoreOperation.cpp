#include "RestoreOperation.h"

#include "ExitCode.h"
#include "SystemText.h"

long CRestoreOperation::Run() {
    const long result = CRestoreDocumentScriptOp::Run();
    CScriptError error;
    const bool hasError = m_runner.GetErrorInfo(error.source, error.description, error.line, error.character);
    error.script = m_scripts->front()->GetScriptName();
    // The engine gives every error of a script its line; what the runner reports without one kept it from starting. A
    // result that fails comes from before the start too: from then on nothing fails but the script.
    m_started = SUCCEEDED(result) && !(hasError && error.line == 0 && error.source == L"Script Verification");
    if (hasError)
        m_failure = error.Describe();
    else if (FAILED(result) && m_failure.empty())
        m_failure = L"'" + error.script + L"' could not be started: " +
                    DescribeCode(static_cast<unsigned long>(result)) + L"; the log says more";
    return result;
}

long CRestoreOperation::AddNamedItems() {
    const long result = CRestoreDocumentScriptOp::AddNamedItems();
    if (FAILED(result))
        return result;
    try {
        m_onStarting();
    } catch (const CCommandError& error) {
        m_failure = error.GetText();
        return E_FAIL;
    }
    return result;
}
