#include "ScriptExecution/StateChangeScriptOp.h"

#include "com/ComString.h"
#include "Common/CriticalSection.h"
#include "com/ExceptionHResult.h"
#include "Common/RpcHelper.h"
#include "InternalDocumentStore.h"
#include "ScriptExecution/DocumentScript.h"
#include "com/MarshalledInterface.h"
#include "ScriptExecution/SaveObserver.h"
#include "logging/Checks.h"
#include "logging/ClassLog.h"
#include "logging/TraceScope.h"

#include "HostInterfaces.h"
#include "Quorline.h"

#include <atlbase.h>

#include <mutex>

namespace {
// kept: failures are reported under these fixed places, which log readers know.
constexpr CCodeLocation Location(const char* function, int line) {
    return {"ScriptExecution/StateChangeScriptOp", line, function};
}
constexpr const char* SetInstanceFunction = "CStateChangeScriptOp::SetStateChangeInstance";
constexpr const char* RunFunction = "CStateChangeScriptOp::Run";
constexpr const char* RunScriptsFunction = "CStateChangeScriptOp::RunAppProtScripts";

bool RunsSaveScripts(_STATE_CHANGE_TYPE state) {
    return state == Shutdown || state == Standby || state == Hibernate;
}

/// Tells the observer, if there is one, that the store is finished, on every way out of its scope.
class CStoreEnd {
public:
    CStoreEnd(ISaveObserver* observer, CInternalDocumentStore& store) noexcept : m_observer(observer), m_store(store) {}
    ~CStoreEnd() {
        if (m_observer)
            m_observer->OnStoreFinished(m_store);
    }

    CStoreEnd(const CStoreEnd&) = delete;
    CStoreEnd& operator=(const CStoreEnd&) = delete;

private:
    ISaveObserver* m_observer;
    CInternalDocumentStore& m_store;
};
} // namespace

QUORLINE_CLASS_LOG(CStateChangeScriptOp, L"ScriptExecution.CStateChangeScriptOp")

HRESULT CStateChangeScriptOp::SetStateChangeInstance(IStateChangeInstance* instance) {
    if (m_marshalledInstance)
        SanityCheckFailed(Location(SetInstanceFunction, 26), L"Invalid call sequence");
    HRESULT hr = S_OK;
    m_marshalledInstance = CMarshalledInterface::Marshal(IID_IStateChangeInstance, instance, hr);
    RequireSuccess(Location(SetInstanceFunction, 28), hr, L"CoMarshalInterThreadInterfaceInStream failed");
    return hr;
}

long CStateChangeScriptOp::SetScripts(const std::vector<CScript*>* scripts) {
    const CTraceScope trace(L"CStateChangeScriptOp::SetScripts");
    if (const long hr = CAsyncScriptOp::SetScripts(scripts); FAILED(hr))
        return hr;
    for (const CScript* script : *scripts) {
        if (!script)
            continue; // Run says so
        const auto& app = static_cast<const CDocumentScript&>(*script);
        Log(log4cxx::Level::getInfo(), L"Added script for App = {0:%s}", app.GetAppFriendlyName().c_str());
        Log(log4cxx::Level::getDebug(), L"Save script name = {0:%s}, restore script name = {1:%s}",
            app.GetScriptName().c_str(), app.GetRestoreScript().GetScriptName().c_str());
    }
    return S_OK;
}

long CStateChangeScriptOp::Run() {
    const std::lock_guard<CCriticalSection> guard(*m_lock);
    if (!m_marshalledInstance)
        SanityCheckFailed(Location(RunFunction, 39), L"Invalid call sequence");
    const auto marshalled = std::exchange(m_marshalledInstance, nullptr);
    CComPtr<IStateChangeInstance> instance;
    HRESULT hr = marshalled->Unmarshal(IID_IStateChangeInstance, reinterpret_cast<void**>(&instance));
    RequireSuccess(Location(RunFunction, 42), hr, L"CoGetInterfaceAndReleaseStream failed");

    long newState = 0;
    hr = instance->get_NewState(&newState);
    if (FAILED(hr)) {
        LogHResultFailure(Location(RunFunction, 48), hr, L"get_NewState failed.");
        return hr;
    }
    const auto state = static_cast<_STATE_CHANGE_TYPE>(newState);
    return RunsSaveScripts(state) ? RunAppProtScripts(instance, state) : S_OK;
}

HRESULT CStateChangeScriptOp::RunAppProtScripts(IStateChangeInstance* instance, _STATE_CHANGE_TYPE state) {
    try {
        return RunScriptsWithStore(instance, state);
    } catch (const COSException& failure) {
        const unsigned long code = failure.GetErrorCode();
        Log(log4cxx::Level::getError(), L"Error running scripts: {0:%s} (0x{1:%x} / {2:%d})",
            GetSystemErrorText(code).c_str(), code, code);
        ReleaseNamedItems();
        return failure.GetHResult();
    } catch (...) {
        ReleaseNamedItems();
        return E_FAIL;
    }
}

HRESULT CStateChangeScriptOp::RunScriptsWithStore(IStateChangeInstance* instance, _STATE_CHANGE_TYPE state) {
    CInternalDocumentStore internalStore(CreateGUID());
    const CStoreEnd end(m_observer, internalStore);
    internalStore.SetStateChangeInstance(instance);
    CComPtr<IDocumentStore> store;
    if (const HRESULT hr = internalStore.CreateDocumentStoreCOMObject(&store); FAILED(hr)) {
        LogHResultFailure(Location(RunScriptsFunction, 71), hr, L"Failed to create the document store.");
        return hr;
    }
    CComPtr<ISession> session;
    const HRESULT sessionResult =
        CoCreateInstance(CLSID_Session, nullptr, CLSCTX_ALL, IID_ISession, reinterpret_cast<void**>(&session));
    if (FAILED(sessionResult))
        LogHResultFailure(Location(RunScriptsFunction, 79), sessionResult, L"Failed to create the session object.");

    m_runner.ClearError();
    RunScripts(state, internalStore, store, session);
    ReleaseNamedItems();
    // kept: only the session object's failure shows in the result; a script's error has HasError and the veto.
    return sessionResult;
}

void CStateChangeScriptOp::RunScripts(_STATE_CHANGE_TYPE state, CInternalDocumentStore& records, IDocumentStore* store,
                                      ISession* session) {
    for (CScript* entry : *m_scripts) {
        if (!entry)
            SanityCheckFailed(QUORLINE_HERE, L"Null pScript in collection");
        auto& script = static_cast<CDocumentScript&>(*entry);
        if (!script.ShouldRunForStateChange(state))
            continue;
        RunForProcesses(script, records, store, session);
        if (!m_runner.HasError())
            continue;
        RecordError(script);
        if (const HRESULT hr = store->VetoTransition(); FAILED(hr))
            LogHResultFailure(Location(RunScriptsFunction, 123), hr,
                              L"Failed to veto state transition after script error!");
        return;
    }
}

void CStateChangeScriptOp::RunForProcesses(CDocumentScript& script, CInternalDocumentStore& records,
                                           IDocumentStore* store, ISession* session) {
    for (const unsigned long processId : script.GetProtectedProcIDs()) {
        m_runner.ClearNamedItems();
        m_runner.AddNamedItem(L"TalvinorDocumentStore", store);
        if (session) {
            m_runner.AddNamedItem(L"Session", session);
            CComPtr<IDispatch> process;
            session->GetProcess(processId, &process);
            if (process)
                m_runner.AddNamedItem(L"Process", process);
        }
        RunObserved(script, processId, records);
        if (m_runner.HasError())
            return;
    }
}

void CStateChangeScriptOp::RunObserved(CDocumentScript& script, unsigned long processId,
                                       CInternalDocumentStore& records) {
    if (!m_observer) {
        m_runner.RunScript(&script);
        return;
    }
    m_observer->OnScriptStarting(script, processId, records);
    try {
        m_runner.RunScript(&script);
    } catch (...) {
        m_observer->OnScriptEnded(script, processId, records, HResultOfException());
        throw;
    }
    m_observer->OnScriptEnded(script, processId, records, m_runner.HasError() ? E_FAIL : S_OK);
}

void CStateChangeScriptOp::RecordError(const CDocumentScript& script) {
    m_runner.GetErrorInfo(m_errorSource, m_errorDescription, m_errorLine, m_errorCharPos);
    m_failingScriptName = script.GetScriptName();
    m_hasError = true;
}

HRESULT CStateChangeScriptOp::HasError(short* hasError) {
    *hasError = m_hasError ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

HRESULT CStateChangeScriptOp::ClearError() {
    m_hasError = false;
    return S_OK;
}

HRESULT CStateChangeScriptOp::GetErrorInfo(wchar_t** scriptName, wchar_t** source, wchar_t** description,
                                           unsigned long* line, long* charPos) {
    CComBSTR scriptNameCopy = CopyToBstr(m_failingScriptName);
    CComBSTR sourceCopy = CopyToBstr(m_errorSource);
    *description = CopyToBstr(m_errorDescription).Detach();
    *source = sourceCopy.Detach();
    *scriptName = scriptNameCopy.Detach();
    *line = m_errorLine;
    *charPos = m_errorCharPos;
    return S_OK;
}
