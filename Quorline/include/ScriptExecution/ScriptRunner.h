#pragma once

// Runs one script at a time through a Windows Active Scripting engine, after its signature has been verified. Scripts
// see the named items; each run has an engine of its own, so nothing of one script reaches the next.
//
//     runner.AddNamedItem(L"Session", session);
//     runner.RunScript(&script);
//     if (runner.HasError()) { ... GetErrorInfo ... ClearError ... }
//
// One thread uses a runner, and it has initialised COM. Throws CMorvaneException for wrong use, COSException with the
// HRESULT for an engine that does not start, CAtlException with E_OUTOFMEMORY; the runner stays usable afterwards.

#include "base/Export.h"
#include "ScriptExecution/Script.h"
#include "logging/LoggerFwd.h"

#include <windows.h>
#include <unknwn.h>

#include <map>
#include <memory>
#include <string>

class CTalvinorClientScriptSite;

class QUORLINE_API CScriptRunner {
public:
    CScriptRunner();
    // kept: copies share the items and the site without references of their own; only one of them may live on.
    CScriptRunner(const CScriptRunner& other) = default;
    CScriptRunner& operator=(const CScriptRunner& other) = default;
    ~CScriptRunner();

    /// Takes a reference. The first object under a name stays. Throws for an empty name and for a null object.
    void AddNamedItem(std::wstring name, IUnknown* object);

    /// The object without a new reference. Ask only for names that were added: an unknown one gets a null entry.
    IUnknown* GetNamedItem(std::wstring name);

    /// Releases the objects, in the order of their names.
    void ClearNamedItems();

    /// Returns when the script's global code has run. A script error, an unverified script included, is no exception:
    /// HasError tells.
    void RunScript(CScript* script);

    /// What the script site reports: line and character as the engine counts them (from 1 and from 0).
    void SetErrorInfo(std::wstring& source, std::wstring& description, unsigned long& line, long& character);

    /// False, with the arguments untouched, when there is no error.
    bool GetErrorInfo(std::wstring& source, std::wstring& description, unsigned long& line, long& character);

    /// The number of the last error that an engine reported, mostly an HRESULT; 0 when there was none.
    unsigned long GetErrorNumber() const;

    /// Stays true over further runs until ClearError.
    bool HasError() { return m_hasError; }
    void ClearError() { m_hasError = false; }

private:
    using CNamedItems = std::map<std::wstring, IUnknown*>;

    const GUID& GetScriptEngine(CScript::ScriptLanguageEnum language);
    bool VerifyScript(const std::wstring& name, CScript::ScriptLanguageEnum language, BSTR text);
    void InitSite();

    std::shared_ptr<CNamedItems> m_pNamedItems;   // each object holds one reference
    CTalvinorClientScriptSite* m_pSite = nullptr; // one reference, from the first run on
    std::wstring m_errorSource;
    std::wstring m_errorDescription;
    unsigned long m_errorLine = 0;
    long m_errorCharacter = 0;
    bool m_hasError = false;

    static log4cxx::LoggerPtr SDGetLogger();
    static void Log(log4cxx::LevelPtr level, std::wstring format, ...);
    static void Log(log4cxx::LevelPtr level, const wchar_t* format, ...);
};
