#pragma once

// A state change operation with a change to announce, a session class, and one application whose processes are copies
// of the test application.

#include "HostDoubles.h"
#include "OperationFixture.h"

#include "RunningApp.h"
#include "ScriptExecution/DocumentScript.h"
#include "ScriptExecution/StateChangeScriptOp.h"
#include "TempFolder.h"

class StateChangeOpTest : public OperationTest {
protected:
    StateChangeOpTest() {
        CComObjectNoLock<CChange>* created = nullptr;
        CComObjectNoLock<CChange>::CreateInstance(&created);
        m_change = created;
    }

    /// An application whose processes are the copies of the test application.
    CDocumentScript MakeApp(const std::wstring& name, const std::wstring& text, unsigned long states = Hibernate) {
        CDocumentScript app;
        app.SetAppFriendlyName(L"App of " + name);
        app.SetScriptName(name);
        app.SetText(text);
        app.SetScriptLang(CScript::LangVBScript);
        app.SetStateChanges(states);
        app.AddExe(L"QlOperated.exe");
        app.SetRestoreScript(MakeScript(L"restore of " + name, L""));
        return app;
    }

    HRESULT Run(std::vector<CScript*> scripts) {
        m_op.SetScripts(&scripts);
        EXPECT_EQ(m_op.SetStateChangeInstance(m_change), S_OK);
        m_log.Clear();
        return m_op.Run();
    }

    bool HasError() {
        short value = 1;
        EXPECT_EQ(m_op.HasError(&value), S_OK);
        EXPECT_TRUE(value == VARIANT_TRUE || value == VARIANT_FALSE);
        return value == VARIANT_TRUE;
    }

    /// What save scripts wrote to the log.
    CTexts Said() const { return m_log.Of(L"Quorline.Scripts"); }
    std::wstring ExePath() const { return m_folder.Path() + L"\\QlOperated.exe"; }

    static std::wstring Say(const std::wstring& what) {
        return L"TalvinorDocumentStore.LogMessage 2, \"\" & " + what + L"\n";
    }

    CTempFolder m_folder;
    CAppCopy m_copy{ExePath()};
    CHostProxies m_proxies;
    CSessionServer m_server;
    CComPtr<CComObjectNoLock<CChange>> m_change;
    CStateChangeScriptOp m_op;
};
