// Proves what a restore script is given, and when its document counts as recovered: RestoreDocumentScriptOp.

#include "OperationFixture.h"

#include "RestoreDocumentScriptOp.h"
#include "SetRestoreDocument.h"
#include "base/Exceptions.h"

#include "Quorline.h"

#include <fstream>

namespace {
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class RestoreOpTest : public OperationTest {
protected:
    /// A record whose application restores with this script.
    CInternalSavedDocument MakeDocument(const std::wstring& text,
                                        CScript::ScriptLanguageEnum language = CScript::LangVBScript) {
        CDocumentScript app;
        app.SetScriptName(L"save.vbs");
        app.SetRestoreScript(MakeScript(L"restore", text, language));
        CInternalSavedDocument document;
        document.SetDocName(L"Letter");
        document.SetDocTempPath((m_documents.Path() / L"Letter.txt").wstring());
        document.SetScript(app);
        return document;
    }

    /// The lines that restore scripts left in a file.
    std::vector<std::string> Restored() const {
        std::vector<std::string> lines;
        std::ifstream file(m_documents.Path() / L"restored.txt");
        for (std::string line; std::getline(file, line);)
            lines.push_back(line.substr(0, line.find('\r')));
        return lines;
    }
    std::wstring RestoredPath() const { return (m_documents.Path() / L"restored.txt").wstring(); }

    static ULONG CountOf(IUnknown* object) {
        object->AddRef();
        return object->Release();
    }

    CRestoreDocumentScriptOp m_op;
};
} // namespace

TEST_F(RestoreOpTest, TheScriptReadsTheDocumentThroughItsArgumentsInBothLanguages) {
    const std::wstring vbscript = L"Dim i, documents\n"
                                  L"Set documents = TalvinorRestoreScriptArgs.RestoreDocuments\n"
                                  L"For i = 0 To documents.Count - 1\n"
                                  L"  With CreateObject(\"Scripting.FileSystemObject\").OpenTextFile(\"" +
                                  RestoredPath() +
                                  L"\", 8, True)\n"
                                  L"    .WriteLine \"vb \" & documents.Item(i).Name\n"
                                  L"    .Close\n"
                                  L"  End With\n"
                                  L"Next\n";
    std::wstring escaped;
    for (const wchar_t c : RestoredPath())
        escaped += c == L'\\' ? std::wstring(L"\\\\") : std::wstring(1, c);
    const std::wstring jscript = L"var documents = TalvinorRestoreScriptArgs.RestoreDocuments;\n"
                                 L"for (var i = 0; i < documents.Count; ++i) {\n"
                                 L"  var f = new ActiveXObject('Scripting.FileSystemObject').OpenTextFile('" +
                                 escaped +
                                 L"', 8, true);\n"
                                 L"  f.WriteLine('js ' + documents.Item(i).Name);\n"
                                 L"  f.Close();\n"
                                 L"}\n";
    m_op.SetSavedDocument(MakeDocument(vbscript));
    EXPECT_EQ(m_op.Run(), S_OK);
    m_op.SetSavedDocument(MakeDocument(jscript, CScript::LangJScript));
    EXPECT_EQ(m_op.Run(), S_OK);
    EXPECT_THAT(Restored(), ElementsAre("vb Letter", "js Letter")) << m_log.Get().size();
}

TEST_F(RestoreOpTest, TheDocumentCountsAsRecoveredBeforeTheScriptRuns) {
    m_op.SetSavedDocument(MakeDocument(L"If"));
    m_signer.onVerify = [this] { EXPECT_EQ(m_op.GetSavedDocument().GetStatus(), TEMP_DOCUMENT_RECOVERED); };
    EXPECT_EQ(m_op.GetSavedDocument().GetStatus(), TEMP_DOCUMENT_NOT_RECOVERED);
    EXPECT_EQ(m_op.Run(), S_OK);
    EXPECT_EQ(m_signer.calls.size(), 1u);
    EXPECT_EQ(m_op.GetSavedDocument().GetStatus(), TEMP_DOCUMENT_RECOVERED) << "a script that fails changes nothing";
}

TEST_F(RestoreOpTest, TheScriptItselfReadsTheDocumentAsRecovered) {
    const std::wstring append = L"With CreateObject(\"Scripting.FileSystemObject\").OpenTextFile(\"" + RestoredPath() +
                                L"\", 8, True)\n"
                                L"  .WriteLine documents.Count & \" \" & documents.Item(0).Name & \" \" & "
                                L"documents.Item(0).IsRecovered\n"
                                L"  .Close\n"
                                L"End With\n";
    const std::wstring text = L"Set documents = TalvinorRestoreScriptArgs.RestoreDocuments\n" + append;
    CInternalSavedDocument other = MakeDocument(text);
    other.SetDocName(L"Note");
    for (const CInternalSavedDocument& document : {MakeDocument(text), other}) {
        m_op.SetSavedDocument(document);
        EXPECT_EQ(m_op.Run(), S_OK);
    }
    EXPECT_THAT(Restored(), ElementsAre("1 Letter 1", "1 Note 1"));
    EXPECT_EQ(other.GetStatus(), TEMP_DOCUMENT_NOT_RECOVERED) << "the operation has a record of its own";
}

TEST_F(RestoreOpTest, AddingTheItemsAloneMarksItToo) {
    m_op.SetSavedDocument(MakeDocument(L""));
    EXPECT_EQ(m_op.AddNamedItems(), S_OK);
    EXPECT_EQ(m_op.GetSavedDocument().GetStatus(), TEMP_DOCUMENT_RECOVERED);
    EXPECT_EQ(m_op.AddNamedItems(), S_OK);
    EXPECT_EQ(m_op.ReleaseNamedItems(), S_OK);
    EXPECT_EQ(m_op.OnComplete(), S_OK);
}

TEST_F(RestoreOpTest, ItRunsTheRestoreScriptAloneWhateverWasSetBefore) {
    CScript other = MakeScript(L"other", L"");
    const std::vector<CScript*> three{&other, &other, &other};
    m_op.SetScripts(&three);
    m_op.SetSavedDocument(MakeDocument(L"x = 1", CScript::LangJScript));
    std::vector<CScript*> scripts;
    m_op.GetScripts(&scripts);
    ASSERT_EQ(scripts.size(), 1u);
    EXPECT_EQ(scripts[0]->GetScriptName(), L"restore");
    EXPECT_EQ(scripts[0]->GetText(), L"x = 1");
    EXPECT_EQ(scripts[0]->GetScriptLang(), CScript::LangJScript);
}

TEST_F(RestoreOpTest, ARecordIsFilledFromAnAutomationObject) {
    CComPtr<ISavedDocument> object;
    ASSERT_EQ(MakeDocument(L"").CreateSavedDocumentCOMObject(&object), S_OK);
    m_op.SetSavedDocument(object);
    std::wstring name;
    m_op.GetSavedDocument().GetDocName(name);
    EXPECT_EQ(name, L"Letter");
    std::vector<CScript*> scripts;
    m_op.GetScripts(&scripts);
    EXPECT_THAT(scripts, IsEmpty());
}

TEST_F(RestoreOpTest, ANullObjectIsRefused) {
    EXPECT_THROW(m_op.SetSavedDocument(static_cast<ISavedDocument*>(nullptr)), CMorvaneException);
    EXPECT_THAT(m_log.At(L"ERROR"), ElementsAre(StartsWith(L"TalvinorGlobal: Failed sanity test \"Null argument to "
                                                           L"CRestoreDocumentScriptOp::SetSavedDocument\"; tested at "
                                                           L"RestoreDocumentScriptOp.cpp; line ")));
}

TEST_F(RestoreOpTest, ArgumentsForTheDocumentAreTheCallersOwn) {
    EXPECT_EQ(m_op.CreateScriptArgsCOMObject(nullptr), E_POINTER);
    m_op.SetSavedDocument(MakeDocument(L""));
    CComPtr<ITalvinorRestoreScriptArgs> args;
    EXPECT_EQ(m_op.CreateScriptArgsCOMObject(&args), S_OK);
    EXPECT_EQ(CountOf(args), 1u);
    ISavedDocumentCollection* documents = nullptr; // lent by the interface call
    ASSERT_EQ(args->get_RestoreDocuments(&documents), S_OK);
    unsigned long count = 0;
    EXPECT_EQ(documents->get_Count(&count), S_OK);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(m_op.GetSavedDocument().GetStatus(), TEMP_DOCUMENT_NOT_RECOVERED);
}

TEST_F(RestoreOpTest, AnUnverifiedRestoreScriptDoesNotRun) {
    m_signer.verified = VARIANT_FALSE;
    m_op.SetSavedDocument(MakeDocument(L"CreateObject(\"Scripting.FileSystemObject\").CreateTextFile(\"" +
                                       RestoredPath() + L"\").Close"));
    EXPECT_EQ(m_op.Run(), S_OK);
    EXPECT_THAT(Restored(), IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(m_documents.Path() / L"restored.txt"));
}

TEST_F(RestoreOpTest, TheFreeFunctionIsAPlaceholder) {
    EXPECT_EQ(SetRestoreDocument(MakeDocument(L"")), E_NOTIMPL);
}
