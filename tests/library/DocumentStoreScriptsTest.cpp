// The document store as scripts of both engines use it. Proves DocumentStore.

#include "ProcessUse.h"
#include "AutomationFixture.h"

#include "ScriptState.h"

namespace {

class Scripts : public CAutomationTest {
protected:
    void SetUp() override {
        store.SetStateChangeInstance(&change);
        ASSERT_EQ(store.CreateDocumentStoreCOMObject(&object), S_OK);
    }
    void TearDown() override { store.SetStateChangeInstance(nullptr); }

    bool Run(const wchar_t* language, const wchar_t* text) {
        CScriptEngine engine(language);
        engine.AddItem(L"Store", object);
        const bool good = engine.Run(text);
        error = engine.Error();
        engine.Close();
        EXPECT_EQ(CountOf(object), 1u) << text;
        return good;
    }
    /// The file name of the last path that was reserved.
    std::wstring LastFile() const {
        if (store.GetSavedDocumentList()->empty())
            return L"";
        std::wstring path;
        store.GetSavedDocumentList()->back()->GetDocTempPath(path);
        return std::filesystem::path(path).filename().wstring();
    }

    CStateChange change;
    CInternalDocumentStore store;
    CComPtr<IDocumentStore> object;
    CScriptError error;
};

struct CScriptCase {
    const wchar_t* language;
    const wchar_t* text;
    const wchar_t* expected; ///< a log line, a file name, or nothing for a script error
};

constexpr wchar_t vb[] = L"VBScript";
constexpr wchar_t js[] = L"JScript";

} // namespace

TEST_F(Scripts, LogMessagesHoweverTheyArePassed) {
    const CScriptCase cases[] = {
        {vb, L"Store.LogMessage 2, \"literal\"", L"INFO Quorline.Scripts: literal"},
        {vb, L"Store.LogMessage 1 - 1, \"an \" & \"expression\"", L"ERROR Quorline.Scripts: an expression"},
        {vb, L"Dim level, text\nlevel = 3\ntext = \"variable\"\nStore.LogMessage level, text",
         L"DEBUG Quorline.Scripts: variable"},
        {vb, L"Dim text(1)\ntext(1) = \"element\"\nStore.LogMessage 2, text(1)", L"INFO Quorline.Scripts: element"},
        {vb, L"Sub Say(text)\nStore.LogMessage 2, text\nEnd Sub\nDim t\nt = \"passed on\"\nSay t",
         L"INFO Quorline.Scripts: passed on"},
        {vb, L"Dim n\nn = 42\nStore.LogMessage 2, n", L"INFO Quorline.Scripts: 42"},
        {vb, L"Store.LogMessage 2, 42", L"INFO Quorline.Scripts: 42"},
        {vb, L"Dim nothingSet\nStore.LogMessage 2, nothingSet", L"INFO Quorline.Scripts: "},
        {vb, L"Store.LogMessage \"7\", \"converted\"", L"WARN Quorline.Scripts: converted"},
        {js, L"Store.LogMessage(2, 'literal');", L"INFO Quorline.Scripts: literal"},
        {js, L"Store.LogMessage(1 - 1, 'an ' + 'expression');", L"ERROR Quorline.Scripts: an expression"},
        {js, L"var level = 3, text = 'variable'; Store.LogMessage(level, text);", L"DEBUG Quorline.Scripts: variable"},
        {js, L"var o = { text: 'member' }; Store.LogMessage(2, o.text);", L"INFO Quorline.Scripts: member"},
        {js, L"var n = 42; Store.LogMessage(2, n);", L"INFO Quorline.Scripts: 42"},
        {js, L"Store.LogMessage(7, 'above the levels');", L"WARN Quorline.Scripts: above the levels"},
    };
    for (const CScriptCase& test : cases) {
        log.Clear();
        EXPECT_TRUE(Run(test.language, test.text)) << test.text << ": " << std::hex << error.code;
        EXPECT_TRUE(log.Has(test.expected)) << test.text;
    }
}

TEST_F(Scripts, LeaveTheirVariablesAsTheyWere) {
    CScriptEngine engine(vb);
    engine.AddItem(L"Store", object);
    ASSERT_TRUE(engine.Run(L"Dim text, extension\ntext = \"kept\"\nextension = 5\nStore.LogMessage 2, text\n"
                           L"Store.GetNew text, text, extension"));
    EXPECT_EQ(engine.Value(L"text"), L"kept");
    EXPECT_EQ(engine.Value(L"extension"), L"5");
}

TEST_F(Scripts, ReserveDocumentsWhateverTheExtensionIs) {
    const CScriptCase cases[] = {
        {vb, L"p = Store.GetNew(\"left out.doc\", \"C:\\left out.doc\")", L"left out.doc"},
        {vb, L"p = Store.GetNew(\"number\", \"\", 5)", L"number.5"},
        {vb, L"p = Store.GetNew(\"text\", \"\", \"txt\")", L"text.txt"},
        {vb, L"Dim n, o, e\nn = \"variables\"\no = \"C:\\x\"\ne = \"doc\"\np = Store.GetNew(n, o, e)",
         L"variables.doc"},
        {vb, L"p = Store.GetNew(\"empty\", \"\", Empty)", L"empty"},
        {vb, L"p = Store.GetNew(\"null\", \"\", Null)", nullptr},
        {vb, L"Dim e\ne = Null\np = Store.GetNew(\"null variable\", \"\", e)", nullptr},
        {vb, L"p = Store.GetNew(\"object\", \"\", Store)", nullptr},
        {vb, L"p = Store.GetNew(\"nothing\", \"\", Nothing)", nullptr},
        {vb, L"p = Store.GetNew(\"too few\")", nullptr},
        {js, L"var p = Store.GetNew('js left out.doc', 'C:\\\\x');", L"js left out.doc"},
        {js, L"var p = Store.GetNew('js number', '', 5);", L"js number.5"},
        {js, L"var n = 'js variables', e = '.doc'; var p = Store.GetNew(n, n, e);", L"js variables.doc"},
        {js, L"var p = Store.GetNew('js undefined', '', undefined);", L"js undefined"},
        {js, L"var p = Store.GetNew('js null', '', null);", nullptr},
        {js, L"var p = Store.GetNew('js object', '', Store);", nullptr},
        {js, L"var p = Store.GetNew('too few');", nullptr},
    };
    for (const CScriptCase& test : cases) {
        const std::size_t before = store.GetSavedDocumentList()->size();
        EXPECT_EQ(Run(test.language, test.text), test.expected != nullptr)
            << test.text << ": " << std::hex << error.code;
        if (test.expected != nullptr)
            EXPECT_EQ(LastFile(), test.expected) << test.text;
        else
            EXPECT_EQ(store.GetSavedDocumentList()->size(), before) << test.text;
    }
}

TEST_F(Scripts, GetThePathAsTheirOwnString) {
    for (const wchar_t* language : {vb, js}) {
        CScriptEngine engine(language);
        engine.AddItem(L"Store", object);
        ASSERT_TRUE(engine.Run(*language == L'V' ? L"Dim p\np = Store.GetNew(\"Report.doc\", \"\")"
                                                 : L"var p = Store.GetNew('Report.doc', '');"));
        std::wstring path;
        store.GetSavedDocumentList()->back()->GetDocTempPath(path);
        EXPECT_EQ(engine.Value(L"p"), path);
    }
    EXPECT_EQ(LastFile(), L"Report(1).doc");
}

TEST_F(Scripts, VetoTheChange) {
    for (const wchar_t* language : {vb, js}) {
        change.vetoed = VARIANT_FALSE;
        EXPECT_TRUE(Run(language, *language == L'V' ? L"Store.VetoTransition" : L"Store.VetoTransition();"));
        EXPECT_EQ(change.vetoed, VARIANT_TRUE);
    }
}

TEST_F(Scripts, StopAtAVetoThatCannotBeGiven) {
    store.SetStateChangeInstance(nullptr);
    for (const wchar_t* language : {vb, js}) {
        EXPECT_FALSE(Run(language, *language == L'V' ? L"Dim x\nStore.VetoTransition" : L"\nStore.VetoTransition();"));
        EXPECT_EQ(error.line, 2u);
    }
}

TEST_F(Scripts, SeeTheDescriptionOfAFailure) {
    folder.Point(L"Q:\\no such drive");
    CInternalDocumentStore elsewhere;
    CComPtr<IDocumentStore> failing;
    ASSERT_EQ(elsewhere.CreateDocumentStoreCOMObject(&failing), S_OK);
    for (const wchar_t* language : {vb, js}) {
        CScriptEngine engine(language);
        engine.AddItem(L"Store", failing);
        EXPECT_FALSE(engine.Run(*language == L'V' ? L"Dim p\np = Store.GetNew(\"a\", \"b\")"
                                                  : L"\nvar p = Store.GetNew('a', 'b');"));
        EXPECT_EQ(HRESULT_FACILITY(engine.Error().code), FACILITY_WIN32) << std::hex << engine.Error().code;
        EXPECT_NE(engine.Error().description, L"");
        EXPECT_EQ(engine.Error().line, 2u);
    }
}

TEST_F(Scripts, LearnWhatIsWrongWithAName) {
    const std::pair<const wchar_t*, const wchar_t*> rows[] = {
        {vb, L"Dim p\np = Store.GetNew(\"..\\x\", \"\", \".doc\")"},
        {js, L"\nvar p = Store.GetNew('..\\\\x', '', '.doc');"},
    };
    for (const auto& [language, text] : rows) {
        EXPECT_FALSE(Run(language, text));
        EXPECT_EQ(error.code, E_FAIL);
        EXPECT_EQ(error.description, L"The document name \"..\\x.doc\" cannot be a file name: it contains \"\\\".");
        EXPECT_EQ(error.line, 2u);
    }
}

TEST_F(Scripts, CleanAWindowsTitleBeforeItNamesADocument) {
    const std::pair<const wchar_t*, const wchar_t*> rows[] = {
        {vb, LR"(Function FileName(title)
                     With New RegExp
                         .Pattern = "[\x00-\x1F\x7F-\x9F\\/:*?""<>|]"
                         .Global = True
                         FileName = Left(Trim(.Replace(title, "_")), 80)
                     End With
                 End Function
                 Store.GetNew FileName("*C:\New <draft>? - " & Chr(9) & "Notepad"), "", "txt")"},
        {js, LR"(function fileName(title) {
                     return title.replace(/[\x00-\x1F\x7F-\x9F\\\/:*?"<>|]/g, "_").substr(0, 80);
                 }
                 Store.GetNew(fileName("*C:\\New <draft>? - \tNotepad"), "", "txt");)"},
    };
    const wchar_t* expected = L"_C__New _draft__ - _Notepad.txt";
    for (const auto& [language, text] : rows) {
        EXPECT_TRUE(Run(language, text)) << error.description << ' ' << error.line;
        EXPECT_EQ(LastFile(), expected) << language;
        expected = L"_C__New _draft__ - _Notepad(1).txt";
    }
}

TEST_F(Scripts, FindPlaceholdersNotImplemented) {
    CComPtr<IScriptState> state;
    CComPtr<ISavedDocument> document;
    ASSERT_EQ(CScriptState::CreateInstance(&state), S_OK);
    ASSERT_EQ(MakeRecord(1).CreateSavedDocumentCOMObject(&document), S_OK);
    for (const wchar_t* language : {vb, js}) {
        CScriptEngine engine(language);
        engine.AddItem(L"State", state);
        engine.AddItem(L"Document", document);
        EXPECT_FALSE(engine.Run(L"x = State.CurrentUser"));
        EXPECT_FALSE(engine.Run(L"x = Document.SaveTime"));
        EXPECT_TRUE(engine.Run(L"x = Document.Name"));
        EXPECT_EQ(engine.Value(L"x"), L"Doc1");
    }
}

TEST_F(Scripts, LeaveNothingBehind) {
    const auto rounds = [this](int count) {
        for (int i = 0; i < count; ++i) {
            for (const wchar_t* language : {vb, js}) {
                CScriptEngine engine(language);
                engine.AddItem(L"Store", object);
                ASSERT_TRUE(engine.Run(*language == L'V'
                                           ? L"Dim t\nt = \"x\"\nStore.LogMessage 2, t\nStore.VetoTransition"
                                           : L"Store.LogMessage(2, 'x'); Store.VetoTransition();"));
                // Wine's VBScript keeps the texts of errors.
                if (*language != L'V') {
                    EXPECT_FALSE(engine.Run(L"var p = Store.GetNew('a', 'b', null);"));
                }
            }
            log.Clear();
        }
    };
    rounds(20);
    const DWORD handles = HandlesInUse();
    const std::size_t bytes = HeapBytesInUse();
    rounds(200);
    EXPECT_LE(HandlesInUse(), handles);
    EXPECT_LE(HeapBytesInUse(), bytes + 4096);
}
