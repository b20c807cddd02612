// An application that ends after it was found and before its script's turn has nothing to save, and stops nothing.
// Proves host/session/Process and StateChangeScriptOp.

#include "RealRun.h"

namespace {
using testing::ElementsAre;
using testing::IsEmpty;

/// Two processes of one application, the one whose turn is first before the other.
class AnApplicationThatEnds : public CRealRun {
protected:
    void Start() {
        for (auto& app : apps)
            app = std::make_unique<CRunningApp>(std::vector<CAppWindow>{{true, L"QlShown", L"Letter"}},
                                                CRunningAppOptions{copy.Path()});
        std::sort(apps.begin(), apps.end(), [](const auto& a, const auto& b) { return a->Id() < b->Id(); });
    }

    CAppCopy copy{TestFolder() + L"\\QlEnding.exe"};
    std::array<std::unique_ptr<CRunningApp>, 2> apps;
};

struct CSaveScript {
    const wchar_t* language;
    const wchar_t* text;
};

/// Plainly written: they know nothing of processes that end.
constexpr CSaveScript SaveEachWindow[] = {
    {L"VBScript",
     L"For i = 0 To Process.Windows.Count - 1\n"
     L"path = TalvinorDocumentStore.GetNew(Process.Windows.Item(i).Title, \"\", \".txt\")\n"
     L"CreateObject(\"Scripting.FileSystemObject\").CreateTextFile(path).Write Process.Windows.Item(i).Text\n"
     L"Next\n"
     L"TalvinorDocumentStore.LogMessage 2, \"saved \" & Process.Id\n"},

    {L"JScript",
     L"for (var i = 0; i < Process.Windows.Count; i++) {\n"
     L"var path = TalvinorDocumentStore.GetNew(Process.Windows.Item(i).Title, '', '.txt');\n"
     L"new ActiveXObject('Scripting.FileSystemObject').CreateTextFile(path).Write(Process.Windows.Item(i).Text); }\n"
     L"TalvinorDocumentStore.LogMessage(2, 'saved ' + Process.Id);\n"}};
} // namespace

TEST_F(AnApplicationThatEnds, BeforeItsTurnHasNothingToSaveAndStopsNothing) {
    for (const CSaveScript& script : SaveEachWindow) {
        Start();
        const DWORD first = apps[0]->Id();
        const DWORD second = apps[1]->Id();
        m_signer.onVerify = [&] { apps[1].reset(); }; // while the first one's script is verified
        m_log.Clear();
        CDocumentScript app = MakeApp(script.language, script.text, L"QlEnding.exe");
        EXPECT_EQ(Save(app), L"");
        EXPECT_THAT(Said(),
                    ElementsAre(L"INFO saved " + std::to_wstring(first), L"INFO saved " + std::to_wstring(second)));
        EXPECT_EQ(StoredNames(), CTexts{L"Letter.txt"});
        ClearStores();
    }
}

TEST_F(AnApplicationThatEnds, DuringItsTurnHasNothingMoreToSave) {
    for (const CSaveScript& script : SaveEachWindow) {
        Start();
        m_signer.onVerify = [&] { apps = {}; }; // both, when the first one's process object has been made
        CDocumentScript app = MakeApp(script.language, script.text, L"QlEnding.exe");
        EXPECT_EQ(Save(app), L"");
        EXPECT_THAT(Stored(), IsEmpty());
    }
}

TEST_F(AnApplicationThatEnds, TellsScriptsThatAsk) {
    Start();
    m_signer.onVerify = [&] { apps[1].reset(); };
    CDocumentScript app =
        MakeApp(L"VBScript", L"TalvinorDocumentStore.LogMessage 2, \"\" & Process.HasExited", L"QlEnding.exe");
    EXPECT_EQ(Save(app), L"");
    EXPECT_THAT(Said(), ElementsAre(L"INFO False", L"INFO True"));
}
