// The session object: who is logged on where, in both languages and from C++, and what a caller without a place for the
// answer gets. Proves host/session/Session and the boundary in SessionError.

#include "SessionFixture.h"

#include <array>

namespace {
std::wstring OwnName() {
    std::array<wchar_t, 257> name{};
    DWORD size = static_cast<DWORD>(name.size());
    GetUserNameW(name.data(), &size);
    return name.data();
}

std::wstring ThisComputer() {
    std::array<wchar_t, MAX_COMPUTERNAME_LENGTH + 1> name{};
    DWORD size = static_cast<DWORD>(name.size());
    GetComputerNameW(name.data(), &size);
    return name.data();
}

long OwnSession() {
    DWORD id = 0;
    ProcessIdToSessionId(GetCurrentProcessId(), &id);
    return static_cast<long>(id);
}

class TheSession : public CSessionTest {
protected:
    CComPtr<ISession> session = MakeSession();
};
} // namespace

TEST_F(TheSession, SaysWhoIsLoggedOnWhere) {
    ASSERT_NE(OwnName(), L"");
    ASSERT_NE(ThisComputer(), L"");
    EXPECT_EQ(TextOf(session.p, &ISession::get_UserName), OwnName());
    EXPECT_EQ(TextOf(session.p, &ISession::get_ComputerName), ThisComputer());
    long id = -1;
    EXPECT_EQ(session->get_SessionId(&id), S_OK);
    EXPECT_EQ(id, OwnSession());
    VARIANT_BOOL remote = 1;
    EXPECT_EQ(session->get_IsRemote(&remote), S_OK);
    EXPECT_EQ(remote, GetSystemMetrics(SM_REMOTESESSION) != 0 ? VARIANT_TRUE : VARIANT_FALSE);
}

TEST_F(TheSession, SaysWhetherScriptsRunForACheckpoint) {
    const std::pair<const wchar_t*, VARIANT_BOOL> cases[] = {
        {nullptr, VARIANT_FALSE}, {L"1", VARIANT_TRUE}, {L"0", VARIANT_FALSE}, {L"11", VARIANT_FALSE}};
    for (const auto& [value, expected] : cases) {
        SetEnvironmentVariableW(L"QUORLINE_CHECKPOINT", value);
        VARIANT_BOOL checkpoint = 1;
        EXPECT_EQ(session->get_IsCheckpoint(&checkpoint), S_OK);
        EXPECT_EQ(checkpoint, expected) << testing::PrintToString(value == nullptr ? L"none" : value);
    }
    SetEnvironmentVariableW(L"QUORLINE_CHECKPOINT", nullptr);
}

TEST_F(TheSession, SaysTheSameToScripts) {
    for (const wchar_t* language : Languages) {
        CScriptEngine engine(language);
        engine.AddItem(L"Session", session);
        ASSERT_TRUE(engine.Run(L"user = Session.UserName\ncomputer = Session.ComputerName\n"
                               L"id = Session.SessionId\nremote = Session.IsRemote"))
            << engine.Error().description;
        EXPECT_EQ(engine.Value(L"user"), OwnName());
        EXPECT_EQ(engine.Value(L"computer"), ThisComputer());
        EXPECT_EQ(engine.Value(L"id"), std::to_wstring(OwnSession()));
        EXPECT_EQ(engine.Value(L"remote"), GetSystemMetrics(SM_REMOTESESSION) != 0 ? L"-1" : L"0");
    }
}

TEST_F(TheSession, AnswersNobodyWithoutAPlaceForTheAnswer) {
    const CRunningApp app({{true, L"QlShown", L"Letter"}});
    const auto process = ProcessOf(app.Id());
    const auto windows = WindowsOf(process);
    const auto window = WindowOf(process);
    CComPtr<IUnknown> walked;
    ASSERT_EQ(windows->get__NewEnum(&walked), S_OK);
    const CComQIPtr<IEnumVARIANT> enumerator(walked);
    ULONG fetched = 7;
    VARIANT items[2];

    const struct {
        const wchar_t* member;
        HRESULT result;
        std::wstring description = Description();
    } calls[] = {
        {L"UserName of the session", session->get_UserName(nullptr)},
        {L"ComputerName of the session", session->get_ComputerName(nullptr)},
        {L"SessionId of the session", session->get_SessionId(nullptr)},
        {L"IsRemote of the session", session->get_IsRemote(nullptr)},
        {L"GetProcess of the session", session->GetProcess(app.Id(), nullptr)},
        {L"Id of process ", process->get_Id(nullptr)},
        {L"ImageName of process ", process->get_ImageName(nullptr)},
        {L"Path of process ", process->get_Path(nullptr)},
        {L"Windows of process ", process->get_Windows(nullptr)},
        {L"HasExited of process ", process->get_HasExited(nullptr)},
        {L"Windows.Item of process ", windows->get_Item(0, nullptr)},
        {L"Windows.Count of process ", windows->get_Count(nullptr)},
        {L"Windows of process ", windows->get__NewEnum(nullptr)},
        {L"Handle of window 0x", window->get_Handle(nullptr)},
        {L"Title of window 0x", window->get_Title(nullptr)},
        {L"ClassName of window 0x", window->get_ClassName(nullptr)},
        {L"Text of window 0x", window->get_Text(nullptr)},
        {L"Visible of window 0x", window->get_Visible(nullptr)},
        {L"Next of the windows' enumerator", enumerator->Next(1, nullptr, &fetched)},
        {L"Next of the windows' enumerator", enumerator->Next(2, items, nullptr)},
        {L"Clone of the windows' enumerator", enumerator->Clone(nullptr)},
    };
    for (const auto& call : calls) {
        EXPECT_EQ(call.result, E_POINTER) << call.member;
        EXPECT_THAT(call.description, testing::StartsWith(call.member));
        EXPECT_THAT(call.description, testing::EndsWith(L": there is no place for the answer")) << call.member;
    }
    EXPECT_EQ(fetched, 0u);
}

TEST_F(TheSession, SaysThatItsInterfacesDescribeTheirErrors) {
    const CRunningApp app({{true, L"QlShown", L"Letter"}});
    const auto process = ProcessOf(app.Id());
    CComPtr<IUnknown> enumerator;
    ASSERT_EQ(WindowsOf(process)->get__NewEnum(&enumerator), S_OK);
    const struct {
        CComPtr<IUnknown> object;
        IID described;
    } cases[] = {
        {CComPtr<IUnknown>(session), IID_ISession},
        {CComPtr<IUnknown>(process), IID_IProcess},
        {CComPtr<IUnknown>(WindowsOf(process)), IID_IProcessWindows},
        {CComPtr<IUnknown>(WindowOf(process)), IID_IProcessWindow},
        {enumerator, IID_IEnumVARIANT},
    };
    for (const auto& test : cases) {
        const CComQIPtr<ISupportErrorInfo> support(test.object);
        ASSERT_TRUE(support);
        EXPECT_EQ(support->InterfaceSupportsErrorInfo(test.described), S_OK);
        EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_IDispatch), S_FALSE);
    }
}
