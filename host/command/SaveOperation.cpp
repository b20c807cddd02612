#include "SaveOperation.h"

#include "StoreCatalog.h"
#include "SystemText.h"

#include <atlbase.h>

long CSaveOperation::Run() {
    try {
        const long result = CStateChangeScriptOp::Run();
        m_failure = FAILED(result) ? DescribeCode(static_cast<unsigned long>(result)) : std::wstring();
        return result;
    } catch (const std::exception& error) {
        m_failure = DescribeException(error);
    } catch (const CAtlException& error) {
        m_failure = DescribeCode(static_cast<unsigned long>(error.m_hr));
    } catch (...) {
        m_failure = L"an unknown exception";
    }
    return E_FAIL;
}

std::optional<CScriptError> CSaveOperation::TakeScriptError() {
    short hasError = VARIANT_FALSE;
    HasError(&hasError);
    if (hasError == VARIANT_FALSE)
        return std::nullopt;
    CComBSTR script;
    CComBSTR source;
    CComBSTR description;
    CScriptError error;
    GetErrorInfo(&script, &source, &description, &error.line, &error.character);
    const auto text = [](const CComBSTR& value) { return std::wstring(value.m_str ? value.m_str : L""); };
    error.script = text(script);
    error.source = text(source);
    error.description = text(description);
    error.number = error.line != 0 ? m_runner.GetErrorNumber() : 0;
    for (const CScript* candidate : *m_scripts)
        if (candidate != nullptr && candidate->GetScriptName() == error.script)
            error.Explain(*candidate);
    return error;
}

std::optional<CScriptErrorData> CSaveOperation::GetCurrentError() {
    CScriptErrorData error;
    if (!m_runner.GetErrorInfo(error.source, error.description, error.line, error.character))
        return std::nullopt;
    error.number = error.line != 0 ? m_runner.GetErrorNumber() : 0;
    return error;
}
