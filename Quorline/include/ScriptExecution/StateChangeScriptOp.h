#pragma once

// Runs the save scripts of the protected applications before the machine changes its power state, once per running
// process, and vetoes the change at the first script error:
//
//     CStateChangeScriptOp op;
//     op.SetScripts(&scripts);             // CDocumentScript objects, the caller's
//     op.SetStateChangeInstance(change);   // on the thread that has it
//     op.SetObserver(&observer);           // optional: is handed the store and told of each script
//     runner.Start(&op);
//
// An operation serves one state change. After it has finished, HasError and GetErrorInfo tell of the script that
// failed.

#include "ScriptExecution/AsyncScriptOp.h"
#include "ScriptExecution/StateChangeTypes.h"

#include <windows.h>

#include <memory>
#include <string>
#include <vector>

class CDocumentScript;
class CInternalDocumentStore;
class CMarshalledInterface;
class ISaveObserver;
struct IDocumentStore;
struct ISession;
struct IStateChangeInstance;

class QUORLINE_API CStateChangeScriptOp : public CAsyncScriptOp {
public:
    CStateChangeScriptOp() = default;
    CStateChangeScriptOp(const CStateChangeScriptOp& other) = default;
    CStateChangeScriptOp& operator=(const CStateChangeScriptOp& other) = default;
    ~CStateChangeScriptOp() = default;

    /// Marshals the announced change for the worker. Throws CMorvaneException when one is held already, COSException
    /// when it cannot be marshalled.
    HRESULT SetStateChangeInstance(IStateChangeInstance* instance);

    /// Who is told of the scripts and the store of the next run; null, as at first, for nobody. The caller's, and alive
    /// until Run has returned.
    void SetObserver(ISaveObserver* observer) { m_observer = observer; }

    /// Every element must be a CDocumentScript.
    long SetScripts(const std::vector<CScript*>* scripts) override;

    /// On the worker. Returns S_OK when the scripts were run, a script that failed included, and for the changes that
    /// run none; the failure when the change, the store or the session object could not be had; E_FAIL or the code of
    /// an exception while scripts run. Throws CMorvaneException without a change, COSException when it cannot be had
    /// here.
    long Run() override;

    /// VARIANT_TRUE after a script has failed.
    HRESULT HasError(short* hasError);
    HRESULT ClearError();
    /// The script that failed and what its engine said; line from 1, character from 0. The caller frees the three
    /// strings with SysFreeString. Throws CAtlException with E_OUTOFMEMORY.
    HRESULT GetErrorInfo(wchar_t** scriptName, wchar_t** source, wchar_t** description, unsigned long* line,
                         long* charPos);

private:
    HRESULT RunAppProtScripts(IStateChangeInstance* instance, _STATE_CHANGE_TYPE state);
    HRESULT RunScriptsWithStore(IStateChangeInstance* instance, _STATE_CHANGE_TYPE state);
    void RunScripts(_STATE_CHANGE_TYPE state, CInternalDocumentStore& records, IDocumentStore* store,
                    ISession* session);
    void RunForProcesses(CDocumentScript& script, CInternalDocumentStore& records, IDocumentStore* store,
                         ISession* session);
    void RunObserved(CDocumentScript& script, unsigned long processId, CInternalDocumentStore& records);
    void RecordError(const CDocumentScript& script);

    static log4cxx::LoggerPtr SDGetLogger();
    static void Log(log4cxx::LevelPtr level, std::wstring format, ...);
    static void Log(log4cxx::LevelPtr level, const wchar_t* format, ...);

    std::wstring m_failingScriptName;
    std::wstring m_errorSource;
    std::wstring m_errorDescription;
    unsigned long m_errorLine = 0;
    long m_errorCharPos = 0;
    bool m_hasError = false;
    std::shared_ptr<CMarshalledInterface> m_marshalledInstance;
    ISaveObserver* m_observer = nullptr;
};
