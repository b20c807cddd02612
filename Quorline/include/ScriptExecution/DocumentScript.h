#pragma once

// One protected application: the save script, how the application's processes and windows are recognised, on which
// state changes the script runs, and the restore script that reopens what was saved. A value: copies are deep and
// independent, and it is not locked.
//
//     CDocumentScript script;
//     script.SetStateChanges(Standby | Hibernate);
//     script.AddExe(L"notepad.exe");

#include "base/Export.h"
#include "protection/ProtectedAppMatcher.h"
#include "ScriptExecution/Script.h"
#include "ScriptExecution/StateChangeTypes.h"
#include "logging/LoggerFwd.h"

#include <windows.h>
#include <oaidl.h>

#include <memory>
#include <set>
#include <string>

struct IDocumentScript;

/// Patterns match without regard to case. "*" is the only wildcard; it takes the first place where the text up to the
/// next "*" occurs and never reconsiders, so "*AB" does not match "XABAB".
class QUORLINE_API CDocumentScript : public CScript, public IProtectedAppMatcher {
public:
    CDocumentScript();
    CDocumentScript(const CDocumentScript& other);
    CDocumentScript& operator=(const CDocumentScript& other);
    ~CDocumentScript() override;

    /// Reads nothing: what the host's interface holds reaches the script through the setters.
    void Init(IDocumentScript* script);

    void AddExe(std::wstring pattern);
    void AddWindowTitle(std::wstring pattern);
    void AddWindowClass(std::wstring pattern);

    /// Add the strings of a one-dimensional VT_BSTR array with lower bound 0 to the patterns there are. E_POINTER for a
    /// null array; throws CAtlException for any other array and for a failed call; what was added before stays.
    HRESULT SetExes(SAFEARRAY* patterns);
    HRESULT SetWindowTitles(SAFEARRAY* patterns);
    HRESULT SetWindowClasses(SAFEARRAY* patterns);

    /// A new VT_BSTR array in ascending order, which the caller destroys; without elements when there are no patterns.
    /// E_POINTER for a null argument; throws CAtlException for a failed call. The argument is written on success only.
    HRESULT GetExes(SAFEARRAY** patterns) const;
    HRESULT GetWindowTitles(SAFEARRAY** patterns) const;
    HRESULT GetWindowClasses(SAFEARRAY** patterns) const;

    /// A mask of _STATE_CHANGE_TYPE bits.
    void SetStateChanges(unsigned long stateChanges) { m_stateChanges = stateChanges; }
    unsigned long GetStateChanges() const { return m_stateChanges; }
    bool ShouldRunForStateChange(_STATE_CHANGE_TYPE type) const;

    void SetRestoreScript(const CScript& script) { m_restoreScript = script; }
    CScript& GetRestoreScript() { return m_restoreScript; }
    const CScript& GetRestoreScript() const { return m_restoreScript; }
    void SetRestoreScriptLang(CScript::ScriptLanguageEnum language) { m_restoreScript.SetScriptLang(language); }
    CScript::ScriptLanguageEnum GetRestoreScriptLang() const { return m_restoreScript.GetScriptLang(); }

    void SetAppFriendlyName(const std::wstring& name) { m_appFriendlyName = name; }
    std::wstring GetAppFriendlyName() const { return m_appFriendlyName; }

    /// The running processes that this script protects, from a fresh snapshot. The calling thread must run as the
    /// interactive user.
    std::set<unsigned long> GetProtectedProcIDs();

    /// Scripts, friendly name and patterns without regard to case. The first difference after the save script's own is
    /// named on standard output. A set that was never made differs from an empty one.
    bool operator==(const CDocumentScript& other) const;
    bool operator!=(const CDocumentScript& other) const { return !(*this == other); }

protected:
    using CPatternSet = std::set<std::wstring>;

    void InitFrom(const CDocumentScript& other);

    std::wstring m_appFriendlyName;
    CScript m_restoreScript;
    std::unique_ptr<CPatternSet> m_pExes;
    std::unique_ptr<CPatternSet> m_pWinClasses;
    std::unique_ptr<CPatternSet> m_pWinTitles;
    unsigned long m_stateChanges = 0;

private:
    using CAddOperation = void (CDocumentScript::*)(std::wstring);

    bool IsMatchingProcess(const CProcessInfo& process) const override;
    bool IsMatchingWindow(const CWindowInfo& window) const override;

    HRESULT SetFromSAFEARRAY(SAFEARRAY* array, CAddOperation add);
    static HRESULT GetToSAFEARRAY(const CPatternSet* patterns, SAFEARRAY** array);

    static log4cxx::LoggerPtr SDGetLogger();
    static void Log(log4cxx::LevelPtr level, std::wstring format, ...);
    static void Log(log4cxx::LevelPtr level, const wchar_t* format, ...);
};
