// Two applications, each with two processes and several documents: orders, and what must not reach from one to the
// other. And that what a run held is given back however it ends. Proves StateChangeScriptOp.

#include "StateChangeFixture.h"

#include "InternalDocumentStore.h"
#include "ScriptExecution/DocumentStoreHistory.h"

#include <activscp.h>

#include <list>

namespace {
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

ULONG CountOf(IUnknown* object) {
    object->AddRef();
    return object->Release();
}

HRESULT WINAPI RefuseEngines(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid, LPVOID* object) {
    if (IsEqualIID(iid, __uuidof(IActiveScript)))
        return REGDB_E_CLASSNOTREG;
    CComPtr<IClassFactory> factory;
    const HRESULT hr = CoGetClassObject(clsid, context, nullptr, IID_IClassFactory, reinterpret_cast<void**>(&factory));
    return FAILED(hr) ? hr : factory->CreateInstance(outer, iid, object);
}

class SeveralApplicationsTest : public StateChangeOpTest {
protected:
    /// The processes of both applications, started in turns so that identifiers do not sort them.
    SeveralApplicationsTest() {
        for (int count = 0; count < 2; ++count) {
            m_notes.insert(Start(NotesPath()));
            m_letters.insert(Start(ExePath()));
        }
    }

    std::wstring NotesPath() const { return m_folder.Path() + L"\\QlNotes.exe"; }

    CDocumentScript MakeNotes(const std::wstring& text, unsigned long states = Hibernate) {
        CDocumentScript notes;
        notes.SetAppFriendlyName(L"Notes");
        notes.SetScriptName(L"notes.js");
        notes.SetScriptLang(CScript::LangJScript);
        notes.SetText(text);
        notes.SetStateChanges(states);
        notes.AddExe(L"QlNotes.exe");
        notes.SetRestoreScript(MakeScript(L"restore notes", L""));
        return notes;
    }
    CDocumentScript MakeLetters(const std::wstring& text) {
        CDocumentScript app = MakeApp(L"letters.vbs", text);
        app.SetAppFriendlyName(L"Letters");
        return app;
    }

    static CTexts Lines(const std::wstring& before, const std::set<DWORD>& ids) {
        CTexts lines;
        for (const DWORD id : ids)
            lines.push_back(L"INFO " + before + std::to_wstring(id));
        return lines;
    }
    static CTexts Joined(CTexts first, const CTexts& second) {
        first.insert(first.end(), second.begin(), second.end());
        return first;
    }

    /// The names of the documents on record, store after store.
    static CTexts Recorded() {
        CDocumentStoreHistory& history = CDocumentStoreHistory::GetInstance();
        history.Refresh();
        CTexts names;
        for (const auto& info : history.GetSavedDocumentInfos())
            for (const auto& document : *info->GetInternalDocumentStore()->GetSavedDocumentList()) {
                std::wstring name;
                document->GetDocName(name);
                names.push_back(name);
            }
        return names;
    }

    CAppCopy m_notesCopy{NotesPath()};
    std::list<CRunningApp> m_running;
    std::set<DWORD> m_letters;
    std::set<DWORD> m_notes;

private:
    DWORD Start(const std::wstring& path) {
        return m_running.emplace_back(std::vector<CAppWindow>(), CRunningAppOptions{path, nullptr}).Id();
    }
};

const std::wstring SayLetter = L"TalvinorDocumentStore.LogMessage 2, \"letter \" & Process.Id\n";
const std::wstring SayNote = L"TalvinorDocumentStore.LogMessage(2, 'note ' + Process.Id);\n";
} // namespace

TEST_F(SeveralApplicationsTest, RunInTheOrderOfTheListAndEachInThatOfItsProcesses) {
    CDocumentScript letters = MakeLetters(SayLetter);
    CDocumentScript notes = MakeNotes(SayNote);
    const CTexts letterLines = Lines(L"letter ", m_letters);
    const CTexts noteLines = Lines(L"note ", m_notes);
    EXPECT_EQ(Run({&letters, &notes}), S_OK);
    EXPECT_THAT(Said(), ElementsAreArray(Joined(letterLines, noteLines)));
    EXPECT_EQ(Run({&notes, &letters}), S_OK);
    EXPECT_THAT(Said(), ElementsAreArray(Joined(noteLines, letterLines)));
    EXPECT_FALSE(HasError());
}

TEST_F(SeveralApplicationsTest, OneThatDoesNotCareAboutTheChangeLeavesTheOthersTheirTurn) {
    CDocumentScript idle = MakeNotes(SayNote, Standby);
    CDocumentScript letters = MakeLetters(SayLetter);
    EXPECT_EQ(Run({&idle, &letters}), S_OK);
    EXPECT_THAT(Said(), ElementsAreArray(Lines(L"letter ", m_letters)));
}

TEST_F(SeveralApplicationsTest, TheErrorOfTheSecondIsItsOwnAndWhatTheFirstSavedStaysOnRecord) {
    CDocumentScript letters =
        MakeLetters(L"TalvinorDocumentStore.GetNew \"Letter\" & Process.Id, \"\", \".txt\"\n" + SayLetter);
    CDocumentScript notes = MakeNotes(L"TalvinorDocumentStore.GetNew('Note', '', '.txt');\n" + SayNote +
                                      L"throw new Error(1001, 'no pencil');\n");
    EXPECT_EQ(Run({&letters, &notes}), S_OK);
    EXPECT_THAT(Said(), ElementsAreArray(Joined(Lines(L"letter ", m_letters), {Lines(L"note ", m_notes).front()})));
    EXPECT_EQ(m_change->vetoed, VARIANT_TRUE);
    CComBSTR script;
    CComBSTR source;
    CComBSTR description;
    unsigned long line = 0;
    long character = -1;
    m_op.GetErrorInfo(&script, &source, &description, &line, &character);
    EXPECT_STREQ(script, L"notes.js");
    EXPECT_STREQ(description, L"no pencil");
    EXPECT_EQ(line, 3u);
    EXPECT_THAT(Recorded(), ElementsAre(L"Letter" + std::to_wstring(*m_letters.begin()),
                                        L"Letter" + std::to_wstring(*m_letters.rbegin()), L"Note"));
}

TEST_F(SeveralApplicationsTest, AScriptDoesNotSeeTheProcessOfTheOneBefore) {
    // The session knows a process for the first script alone.
    CDocumentScript letters = MakeLetters(SayLetter);
    CDocumentScript notes = MakeNotes(
        L"TalvinorDocumentStore.LogMessage(2, typeof Process == 'undefined' ? 'none' : 'left ' + Process.Id);\n");
    m_signer.onVerify = [this] { m_server.session->knowsProcesses = m_server.session->asked.size() < 2; };
    EXPECT_EQ(Run({&letters, &notes}), S_OK);
    const CTexts said = Said();
    ASSERT_EQ(said.size(), 4u);
    EXPECT_EQ(said[2], L"INFO none");
    EXPECT_EQ(said[3], L"INFO none");
}

TEST_F(SeveralApplicationsTest, ItemsAreGivenBackAfterASystemFailure) {
    CDocumentScript letters = MakeLetters(SayLetter);
    const ULONG sessions = CountOf(m_server.session);
    const CImportHook hook(GetModuleHandleW(nullptr), "CoCreateInstance", &RefuseEngines);
    EXPECT_EQ(Run({&letters}), REGDB_E_CLASSNOTREG);
    EXPECT_THAT(Said(), IsEmpty());
    EXPECT_EQ(CountOf(m_server.session), sessions);
    EXPECT_EQ(CountOf(m_change), 1u);
}

TEST_F(SeveralApplicationsTest, ItemsAreGivenBackAfterAnyOtherFailure) {
    CDocumentScript letters = MakeLetters(SayLetter);
    const ULONG sessions = CountOf(m_server.session);
    EXPECT_EQ(Run({&letters, nullptr}), E_FAIL);
    EXPECT_EQ(Said().size(), 2u);
    EXPECT_EQ(CountOf(m_server.session), sessions);
    EXPECT_EQ(CountOf(m_change), 1u);
}
