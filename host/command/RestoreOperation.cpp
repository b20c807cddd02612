#include "RestoreOperation.h"

#include "ExitCode.h"
#include "HostLog.h"
#include "ScriptSigner.h"
#include "SystemText.h"

#include <atlbase.h>

namespace {
/// Asks what the library will ask again. That takes its time the first time, and what is done before the script starts
/// must be done as late as can be: a process that is ended in between has done it for nothing.
bool CanStart(const CScript& script) {
    const bool isVBScript = script.GetScriptLang() == CScript::LangVBScript;
    CComPtr<IScriptSigner> signer;
    VARIANT_BOOL verified = VARIANT_FALSE;
    if (FAILED(signer.CoCreateInstance(CLSID_ScriptSigner)) ||
        FAILED(signer->VerifyText(CComBSTR(isVBScript ? L".vbs" : L".js"), CComBSTR(script.GetText().c_str()),
                                  VARIANT_FALSE, &verified)) ||
        verified == VARIANT_FALSE)
        return false;
    CLSID engine{};
    CComPtr<IUnknown> instance;
    return SUCCEEDED(CLSIDFromProgID(isVBScript ? L"VBScript" : L"JScript", &engine)) &&
           SUCCEEDED(instance.CoCreateInstance(engine));
}
} // namespace

long CRestoreOperation::Run() {
    const long result = CRestoreDocumentScriptOp::Run();
    CScriptError error;
    const bool hasError = m_runner.GetErrorInfo(error.source, error.description, error.line, error.character);
    error.script = m_scripts->front()->GetScriptName();
    error.number = error.line != 0 ? m_runner.GetErrorNumber() : 0;
    // The engine gives every error of a script its line; what the runner reports without one kept it from starting. A
    // result that fails comes from before the start too: from then on nothing fails but the script.
    m_started = SUCCEEDED(result) && !(hasError && error.line == 0 && error.source == L"Script Verification");
    if (hasError) {
        error.Explain(*m_scripts->front());
        m_failure = error.Describe();
        m_error = error;
    } else if (FAILED(result) && m_failure.empty())
        m_failure = L"'" + error.script + L"' could not be started: " +
                    DescribeCode(static_cast<unsigned long>(result)) + PointToLog();
    return result;
}

long CRestoreOperation::AddNamedItems() {
    const long result = CRestoreDocumentScriptOp::AddNamedItems();
    if (FAILED(result) || !CanStart(*m_scripts->front()))
        return result;
    try {
        m_onStarting();
    } catch (const CCommandError& error) {
        m_failure = error.GetText();
        return E_FAIL;
    }
    return result;
}
