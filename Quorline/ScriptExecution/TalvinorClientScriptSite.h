#pragma once

// What an engine talks back to while a script runs: hands out the runner's named items and turns a script error into
// the runner's error record and a log line. Everything else is declined. One site serves all engines of one runner, on
// the runner's thread; the runner outlives every use of it. Throws nothing; failures are HRESULTs for the engine.

#include "ScriptExecution/TalvinorScriptSite.h"

#include <atlcom.h>

#include <activscp.h>

#include <log4cxx/level.h>
#include <log4cxx/logger.h>

#include <string>

class CScriptRunner;

class CTalvinorClientScriptSite : public ATL::CComObjectRootEx<ATL::CComSingleThreadModel>,
                                  public IActiveScriptSite,
                                  public ITalvinorScriptSite {
public:
    BEGIN_COM_MAP(CTalvinorClientScriptSite)
    COM_INTERFACE_ENTRY(IActiveScriptSite)
    COM_INTERFACE_ENTRY(ITalvinorScriptSite)
    END_COM_MAP()

    void SetScriptRunner(CScriptRunner* runner) noexcept { m_pRunner = runner; }
    /// Of the last error that an engine reported; 0 before.
    unsigned long GetErrorNumber() const noexcept { return m_errorNumber; }

    STDMETHODIMP GetLCID(LCID* locale) override;
    STDMETHODIMP GetItemInfo(LPCOLESTR name, DWORD mask, IUnknown** item, ITypeInfo** typeInfo) override;
    STDMETHODIMP GetDocVersionString(BSTR* version) override;
    STDMETHODIMP OnScriptTerminate(const VARIANT* result, const EXCEPINFO* exception) override;
    STDMETHODIMP OnStateChange(SCRIPTSTATE state) override;
    STDMETHODIMP OnScriptError(IActiveScriptError* error) override;
    STDMETHODIMP OnEnterScript() override;
    STDMETHODIMP OnLeaveScript() override;

protected:
    ~CTalvinorClientScriptSite() = default;

private:
    CScriptRunner* m_pRunner = nullptr; // not owned, not counted
    unsigned long m_errorNumber = 0;

    static log4cxx::LoggerPtr SDGetLogger();
    static void Log(log4cxx::LevelPtr level, std::wstring format, ...);
    static void Log(log4cxx::LevelPtr level, const wchar_t* format, ...);
};
