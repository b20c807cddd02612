#pragma once

// Scripts run as the operations run them, with the real engines, document store and session objects; the signer alone
// is the tests' own, and accepts everything.
//
//     CDocumentScript app = MakeApp(L"JScript", text, L"notepad.exe");
//     EXPECT_EQ(Save(app), L"");                    // what failed, where and why
//     EXPECT_EQ(Restore(L"VBScript", text, path), L"");

#include "HostDoubles.h"
#include "IntlHelper/CultureHelper.h"
#include "RestoreDocumentScriptOp.h"
#include "ScriptExecution/DocumentScript.h"
#include "ScriptExecution/StateChangeScriptOp.h"
#include "Support.h"
#include "TestSigner.h"

#include "DocumentsFolder.h"

#include <filesystem>

/// The real session class, for the apartment of the thread that makes it.
class CSessionClass {
public:
    CSessionClass() {
        if (FAILED(CoRegisterClassObject(CLSID_Session, SessionFactory(), CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                                         &m_registration)))
            throw std::runtime_error("the session class cannot be served");
    }
    ~CSessionClass() { CoRevokeClassObject(m_registration); }
    CSessionClass(const CSessionClass&) = delete;
    CSessionClass& operator=(const CSessionClass&) = delete;

private:
    DWORD m_registration = 0;
};

class CRealRun : public testing::Test {
protected:
    static void SetUpTestSuite() { CCultureHelper::InitInstance(nullptr, nullptr); }

    static CScript::ScriptLanguageEnum LanguageOf(const std::wstring& name) {
        return name == L"VBScript" ? CScript::LangVBScript : CScript::LangJScript;
    }

    /// An application that is known by its executable, saved before a hibernation.
    static CDocumentScript MakeApp(const std::wstring& language, const std::wstring& text,
                                   const std::wstring& executable) {
        CDocumentScript app;
        app.SetAppFriendlyName(L"App");
        app.SetScriptName(L"save");
        app.SetText(text);
        app.SetScriptLang(LanguageOf(language));
        app.SetStateChanges(Hibernate);
        app.AddExe(executable);
        return app;
    }

    /// Runs the save script for each process; "line 3: what the engine said" when one failed and vetoed.
    std::wstring Save(CDocumentScript& app) {
        CComObjectNoLock<CChange>* created = nullptr;
        CComObjectNoLock<CChange>::CreateInstance(&created);
        const CComPtr<IStateChangeInstance> change(created);
        std::vector<CScript*> scripts{&app};
        CStateChangeScriptOp op;
        op.SetScripts(&scripts);
        EXPECT_EQ(op.SetStateChangeInstance(change), S_OK);
        EXPECT_EQ(op.Run(), S_OK);
        short failed = VARIANT_FALSE;
        op.HasError(&failed);
        EXPECT_EQ(created->vetoed, failed);
        if (failed == VARIANT_FALSE)
            return L"";
        CComBSTR texts[3];
        unsigned long line = 0;
        long character = 0;
        op.GetErrorInfo(&texts[0], &texts[1], &texts[2], &line, &character);
        return L"line " + std::to_wstring(line) + L": " + (texts[2] ? texts[2].m_str : L"");
    }

    /// Files in all stores but their records, by name.
    std::vector<std::filesystem::path> Stored() const {
        std::vector<std::filesystem::path> files;
        if (std::filesystem::exists(m_documents.Base()))
            for (const auto& file : std::filesystem::recursive_directory_iterator(m_documents.Base()))
                if (file.is_regular_file() && file.path().filename() != L"info.xml")
                    files.push_back(file.path());
        std::sort(files.begin(), files.end());
        return files;
    }

    CTexts StoredNames() const {
        CTexts names;
        for (const auto& file : Stored())
            names.push_back(file.filename().wstring());
        return names;
    }
    void ClearStores() { std::filesystem::remove_all(m_documents.Base()); }

    /// What scripts wrote to the log.
    CTexts Said() const { return m_log.Of(L"Quorline.Scripts"); }

    CComApartment m_apartment;
    CTestSigner m_signer;
    CDocumentsFolder m_documents;
    CLogLines m_log;
    CHostProxies m_proxies;
    CSessionClass m_session;
};
