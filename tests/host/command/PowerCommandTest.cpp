// standby, hibernate and shutdown, up to where Windows would be asked; power-state.sh goes on from there. Proves
// PowerCommand.

#include "CommandFixture.h"

#include <nlohmann/json.hpp>

namespace {
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// Takes the right to shut down from this process and from all that it starts; for good, and no other test here asks
/// for it.
void GiveUpShutdown() {
    CUniqueHandle token;
    TOKEN_PRIVILEGES privileges{};
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Attributes = SE_PRIVILEGE_REMOVED;
    ASSERT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, token.Put()));
    ASSERT_TRUE(LookupPrivilegeValueW(nullptr, SE_SHUTDOWN_NAME, &privileges.Privileges[0].Luid));
    ASSERT_TRUE(AdjustTokenPrivileges(token.Get(), FALSE, &privileges, 0, nullptr, nullptr));
}

class PowerCommand : public CommandTest {
protected:
    CProgramResult Go(const std::wstring& state) {
        return RunQuorline(state + L" --dry-run --apps " + Quoted(L"apps.json"));
    }
};
} // namespace

TEST_F(PowerCommand, ADryRunSavesAndStopsBeforeWindowsIsAsked) {
    PutApps();
    StartNotepad();
    const CProgramResult result = Go(L"hibernate");
    EXPECT_EQ(result.exitCode, 0u) << result.err;
    EXPECT_THAT(result.out,
                AllOf(HasSubstr("state      hibernate"), HasSubstr("saved      "),
                      HasSubstr("dry run    Windows is not asked for hibernate"), Not(HasSubstr("asking"))));
    EXPECT_EQ(Stored(L".txt").size(), 1u);
    for (const wchar_t* state : {L"standby", L"shutdown"}) {
        const CProgramResult other = Go(state);
        EXPECT_EQ(other.exitCode, 0u) << other.err;
        EXPECT_THAT(other.out, HasSubstr("state      " + ToUtf8(state)));
    }
}

TEST_F(PowerCommand, WhenWindowsRefusesEverythingIsSavedAndTheReasonIsTold) {
    PutApps();
    StartNotepad();
    GiveUpShutdown();
    const CProgramResult result = RunQuorline(L"hibernate --apps " + Quoted(L"apps.json"));
    EXPECT_EQ(result.exitCode, 1u) << result.out;
    EXPECT_THAT(result.out, AllOf(HasSubstr("saved      "), EndsWith("asking     Windows for hibernate\r\n")));
    EXPECT_THAT(result.err,
                AllOf(StartsWith("quorline: everything is saved, but Windows refuses hibernate: "),
                      EndsWith("(error 1300); this user has no right to shut the machine down, ask an administrator "
                               "for it\r\n")));
    EXPECT_EQ(Stored(L".txt").size(), 1u);
}

TEST_F(PowerCommand, AVetoedChangeIsNotAskedFor) {
    PutApps();
    PutSigned(L"save.vbs", "Err.Raise 5, \"test\", \"no paper\"\r\n");
    StartNotepad();
    const CProgramResult result = Go(L"hibernate");
    EXPECT_EQ(result.exitCode, 3u) << result.err;
    EXPECT_THAT(result.out, AllOf(HasSubstr("vetoed     "), HasSubstr("no paper"), Not(HasSubstr("dry run"))));
    const auto answer = nlohmann::json::parse(Go(L"hibernate --json").out);
    EXPECT_EQ(answer["state"], "hibernate");
    EXPECT_EQ(answer["vetoed"], true);
}
