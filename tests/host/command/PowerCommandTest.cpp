// standby, hibernate and shutdown, up to where Windows would be asked; power-state.sh goes on from there. Proves
// PowerCommand.

#include "CommandFixture.h"

#include <nlohmann/json.hpp>

namespace {
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

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
