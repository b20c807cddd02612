#pragma once

// Runs a list of scripts, one after another, with the named items that a derived operation provides:
//
//     class CMyOp : public CAsyncScriptOp {
//         long AddNamedItems() override { m_runner.AddNamedItem(L"Mine", mine); return S_OK; }
//     };
//
// The scripts belong to the caller, who deletes them after the operation has finished and leaves the list alone while
// it runs. Run takes the operation's lock, so runs of one operation follow each other.

#include "base/Export.h"
#include "ScriptExecution/AsyncOp.h"
#include "ScriptExecution/ScriptRunner.h"
#include "logging/LoggerFwd.h"

#include <memory>
#include <string>
#include <vector>

class CCriticalSection;

class QUORLINE_API CAsyncScriptOp : public IAsyncOp {
public:
    CAsyncScriptOp();
    // kept: copies share the lock, the list and the runner's objects; only one of them may live on.
    CAsyncScriptOp(const CAsyncScriptOp& other) = default;
    CAsyncScriptOp& operator=(const CAsyncScriptOp& other) = default;
    // kept: not virtual; an operation is deleted as what it is.
    ~CAsyncScriptOp();

    /// A script that fails does not stop the ones after it. Returns the failure of AddNamedItems; or the HRESULT of a
    /// system failure or E_FAIL for any other exception, with the rest of the scripts left out; or the result of
    /// ReleaseNamedItems. Never throws, unless ReleaseNamedItems does.
    long Run() override;
    long OnComplete() override { return S_OK; }

    /// Adds what the scripts are to see to the runner. A failure ends Run, without ReleaseNamedItems.
    virtual long AddNamedItems() { return S_OK; }
    virtual long ReleaseNamedItems();

    /// Replaces the list. E_INVALIDARG for null.
    virtual long SetScripts(const std::vector<CScript*>* scripts);
    /// Appends the list to the caller's. E_INVALIDARG for null.
    virtual long GetScripts(std::vector<CScript*>* scripts) const;

protected:
    std::shared_ptr<CCriticalSection> m_lock;
    CScriptRunner m_runner;
    std::shared_ptr<std::vector<CScript*>> m_scripts;

private:
    static log4cxx::LoggerPtr SDGetLogger();
    static void Log(log4cxx::LevelPtr level, std::wstring format, ...);
    static void Log(log4cxx::LevelPtr level, const wchar_t* format, ...);
};
