// The process object: what it says of a process that runs, of one that has ended, and of one that never was. Proves
// host/session/Process and the identity in TargetProcess.

#include "SessionFixture.h"

namespace {
using testing::EndsWith;
using testing::HasSubstr;

bool HasExited(IProcess* process) {
    VARIANT_BOOL exited = 1;
    EXPECT_EQ(process->get_HasExited(&exited), S_OK);
    EXPECT_TRUE(exited == VARIANT_TRUE || exited == VARIANT_FALSE);
    return exited == VARIANT_TRUE;
}

long CountOf(IProcess* process) {
    long count = -1;
    EXPECT_EQ(WindowsOf(process)->get_Count(&count), S_OK);
    return count;
}

/// A process identifier that was used a moment ago.
DWORD EndedProcess() {
    return CRunningApp().Id();
}

class AProcess : public CSessionTest {};
} // namespace

TEST_F(AProcess, IsNamedByItsExecutable) {
    const CAppCopy copy(TestFolder() + L"\\QlSession.exe");
    const CRunningApp app({}, {copy.Path()});
    const auto process = ProcessOf(app.Id());
    long id = 0;
    EXPECT_EQ(process->get_Id(&id), S_OK);
    EXPECT_EQ(static_cast<DWORD>(id), app.Id());
    EXPECT_EQ(TextOf(process.p, &IProcess::get_ImageName), L"QlSession.exe");
    EXPECT_EQ(_wcsicmp(TextOf(process.p, &IProcess::get_Path).c_str(), copy.Path().c_str()), 0);
    EXPECT_FALSE(HasExited(process));
}

TEST_F(AProcess, ThatHasEndedIsThereAndHasNoWindows) {
    const DWORD id = EndedProcess();
    const auto process = ProcessOf(id);
    ASSERT_TRUE(process);
    EXPECT_TRUE(HasExited(process));
    long shown = 0;
    EXPECT_EQ(process->get_Id(&shown), S_OK);
    EXPECT_EQ(static_cast<DWORD>(shown), id);
    EXPECT_EQ(TextOf(process.p, &IProcess::get_Path), L"");
    EXPECT_EQ(CountOf(process), 0);
}

TEST_F(AProcess, ThatNeverWasIsTakenForOneThatHasEnded) {
    for (const DWORD id : {0x7FFFFFFCul, 0xFFFFFFFCul, 0ul}) {
        const auto process = ProcessOf(id);
        ASSERT_TRUE(process);
        EXPECT_TRUE(HasExited(process)) << id;
        EXPECT_EQ(TextOf(process.p, &IProcess::get_ImageName), L"");
        EXPECT_EQ(CountOf(process), 0);
    }
}

TEST_F(AProcess, SaysLaterThatItHasEnded) {
    auto app = std::make_unique<CRunningApp>(std::vector<CAppWindow>{{true, L"QlShown", L"Letter"}});
    const auto process = ProcessOf(app->Id());
    const auto window = WindowOf(process);
    EXPECT_FALSE(HasExited(process));
    EXPECT_EQ(CountOf(process), 1);
    app.reset();
    EXPECT_TRUE(HasExited(process));
    EXPECT_EQ(CountOf(process), 0);
    EXPECT_EQ(TextOf(process.p, &IProcess::get_ImageName), L"TestApp.exe")
        << "known, since it ran when it was asked for";

    // What was taken from it before.
    EXPECT_EQ(TextOf(window.p, &IProcessWindow::get_ClassName), L"");
    VARIANT_BOOL visible = VARIANT_TRUE;
    EXPECT_EQ(window->get_Visible(&visible), S_OK);
    EXPECT_EQ(visible, VARIANT_FALSE);
    CComBSTR text;
    EXPECT_EQ(window->get_Text(&text), HRESULT_FROM_WIN32(ERROR_INVALID_WINDOW_HANDLE));
    EXPECT_THAT(Description(), EndsWith(L"(TestApp.exe): the process has ended"));
    EXPECT_FALSE(text);
    EXPECT_EQ(window->get_Title(&text), HRESULT_FROM_WIN32(ERROR_INVALID_WINDOW_HANDLE));
    EXPECT_THAT(Description(), HasSubstr(L"the process has ended"));
}

TEST_F(AProcess, ThatHasEndedGivesAPlainScriptNothingToDo) {
    const auto process = ProcessOf(EndedProcess());
    const struct {
        const wchar_t* language;
        const wchar_t* script;
    } scripts[] = {
        {L"VBScript",
         L"found = 0\nFor Each w In Process.Windows\nfound = found + 1\nNext\n"
         L"For i = 0 To Process.Windows.Count - 1\nfound = found + 1\nNext\nended = CStr(Process.HasExited)"},
        {L"JScript", L"var found = 0; for (var i = 0; i < Process.Windows.Count; i++) found++;\n"
                     L"var ended = Process.HasExited ? 'True' : 'False';"},
    };
    for (const auto& test : scripts) {
        CScriptEngine engine(test.language);
        engine.AddItem(L"Process", process);
        EXPECT_TRUE(engine.Run(test.script)) << engine.Error().description;
        EXPECT_EQ(engine.Value(L"found"), L"0");
        EXPECT_EQ(engine.Value(L"ended"), L"True");
    }
}

TEST_F(AProcess, IsGivenToScriptsByTheSession) {
    const CRunningApp app;
    for (const wchar_t* language : Languages) {
        CScriptEngine engine(language);
        engine.AddItem(L"Session", MakeSession());
        const std::wstring id = std::to_wstring(app.Id());
        ASSERT_TRUE(engine.Run((L"name = Session.GetProcess(" + id + L").ImageName").c_str()))
            << engine.Error().description;
        EXPECT_EQ(engine.Value(L"name"), L"TestApp.exe");
    }
}
