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
#include "SessionFixture.h"
#include "TestSigner.h"

#include "DocumentsFolder.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

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

/// A saved copy as the samples write it: UTF-16 with a byte-order mark.
inline std::wstring ReadCopy(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
    return text.starts_with(L'\uFEFF') ? text.substr(1) : L"no mark: " + text;
}

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

    struct CSaved {
        bool vetoed = false;
        std::wstring error; ///< "line 3: what the engine said" when a script failed
    };

    /// Runs the save script for each process.
    static CSaved RunSave(CDocumentScript& app) {
        CComObjectNoLock<CChange>* created = nullptr;
        CComObjectNoLock<CChange>::CreateInstance(&created);
        const CComPtr<IStateChangeInstance> change(created);
        std::vector<CScript*> scripts{&app};
        CStateChangeScriptOp op;
        op.SetScripts(&scripts);
        EXPECT_EQ(op.SetStateChangeInstance(change), S_OK);
        EXPECT_EQ(op.Run(), S_OK);
        CSaved saved;
        saved.vetoed = created->vetoed != VARIANT_FALSE;
        short failed = VARIANT_FALSE;
        op.HasError(&failed);
        if (failed == VARIANT_FALSE)
            return saved;
        CComBSTR texts[3];
        unsigned long line = 0;
        long character = 0;
        op.GetErrorInfo(&texts[0], &texts[1], &texts[2], &line, &character);
        saved.error = ErrorText(line, texts[2] ? texts[2].m_str : L"");
        return saved;
    }

    /// The error alone; it must have vetoed, and nothing else.
    static std::wstring Save(CDocumentScript& app) {
        const CSaved saved = RunSave(app);
        EXPECT_EQ(saved.vetoed, !saved.error.empty());
        return saved.error;
    }

    /// Runs the restore script for a saved copy; the error, as of a save.
    static std::wstring Restore(const std::wstring& language, const std::wstring& text, const std::wstring& copy) {
        CDocumentScript app = MakeApp(language, L"", L"");
        CScript restore;
        restore.SetScriptName(L"restore");
        restore.SetText(text);
        restore.SetScriptLang(LanguageOf(language));
        app.SetRestoreScript(restore);
        CInternalSavedDocument document;
        document.SetDocName(L"R&D");
        document.SetDocOriginalPath(L"C:\\work\\R&D.txt");
        document.SetDocTempPath(copy);
        document.SetAppFriendlyName(L"App");
        document.SetAppExeImageName(L"notepad.exe");
        document.SetSaveScriptName(L"save");
        document.SetRestoreScriptName(L"restore");
        document.SetScript(app);
        CRestoreOp op;
        op.SetSavedDocument(document);
        EXPECT_EQ(op.Run(), S_OK);
        return op.Error();
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

private:
    static std::wstring ErrorText(unsigned long line, const std::wstring& description) {
        return L"line " + std::to_wstring(line) + L": " + description;
    }

    class CRestoreOp : public CRestoreDocumentScriptOp {
    public:
        std::wstring Error() {
            std::wstring source;
            std::wstring description;
            unsigned long line = 0;
            long character = 0;
            return m_runner.GetErrorInfo(source, description, line, character) ? ErrorText(line, description) : L"";
        }
    };

protected:
    CComApartment m_apartment;
    CTestSigner m_signer;
    CDocumentsFolder m_documents;
    CLogLines m_log;
    CHostProxies m_proxies;
    CSessionClass m_session;
};
