// The process object: what it says of a process that runs. Proves
// host/session/Process and the identity in TargetProcess.

#include "Support.h"

namespace {
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
