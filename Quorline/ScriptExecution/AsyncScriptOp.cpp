#include "ScriptExecution/AsyncScriptOp.h"

#include "Common/CriticalSection.h"
#include "logging/Checks.h"
#include "logging/ClassLog.h"
#include "logging/TraceScope.h"

#include <mutex>

CAsyncScriptOp::CAsyncScriptOp()
    : m_lock(std::make_shared<CCriticalSection>()), m_scripts(std::make_shared<std::vector<CScript*>>()) {}

CAsyncScriptOp::~CAsyncScriptOp() = default;

QUORLINE_CLASS_LOG(CAsyncScriptOp, L"ScriptExecution.CAsyncScriptOp")

long CAsyncScriptOp::Run() {
    const std::lock_guard<CCriticalSection> guard(*m_lock);
    try {
        if (const long hr = AddNamedItems(); FAILED(hr))
            return hr;
        for (CScript* script : *m_scripts) {
            if (!script)
                SanityCheckFailed(QUORLINE_HERE, L"Null pScript in collection");
            m_runner.RunScript(script);
        }
        return ReleaseNamedItems();
    } catch (const COSException& failure) {
        ReleaseNamedItems();
        const unsigned long code = failure.GetErrorCode();
        Log(log4cxx::Level::getError(), L"Error running scripts: {0:%s} (0x{1:%x} / {2:%d})",
            GetSystemErrorText(code).c_str(), code, code);
        return failure.GetHResult();
    } catch (...) {
        ReleaseNamedItems();
        return E_FAIL;
    }
}

long CAsyncScriptOp::ReleaseNamedItems() {
    m_runner.ClearNamedItems();
    return S_OK;
}

long CAsyncScriptOp::SetScripts(const std::vector<CScript*>* scripts) {
    const CTraceScope trace(L"CAsyncScriptOp::SetScripts");
    if (!scripts)
        return E_INVALIDARG;
    *m_scripts = *scripts;
    return S_OK;
}

long CAsyncScriptOp::GetScripts(std::vector<CScript*>* scripts) const {
    if (!scripts)
        return E_INVALIDARG;
    scripts->insert(scripts->end(), m_scripts->begin(), m_scripts->end());
    return S_OK;
}
