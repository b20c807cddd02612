// `quorline apps` with a real Notepad. Proves AppsCommand.

#include "CommandFixture.h"

#include <nlohmann/json.hpp>

namespace {
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class AppsCommand : public CommandTest {
protected:
    CProgramResult Apps(const std::wstring& options) {
        return RunQuorline(L"apps " + options + L" --apps " + Quoted(L"apps.json"));
    }
    std::string Process() const { return "process " + std::to_string(m_processId) + ", NOTEPAD.EXE"; }
};
} // namespace

TEST_F(AppsCommand, ShowsEachProcessAndWindowWithThePatternThatTakesIt) {
    Put(L"apps.json", R"({"applications":[{"friendlyName":"Notepad","executables":["note*.exe"],
        "windowClasses":["Notepad"],"stateChanges":["hibernate","hibernate-resume"],"saveScript":"save.vbs"},
        {"friendlyName":"Nothing","executables":["no-such.exe"],"stateChanges":["hibernate"],
        "saveScript":"save.vbs"}]})");
    StartNotepad();
    const CProgramResult result = Apps(L"--state hibernate");
    EXPECT_EQ(result.exitCode, 0u) << result.err;
    EXPECT_THAT(result.out, AllOf(HasSubstr("  " + Process() + ", by executable 'note*.exe'\r\n"),
                                  HasSubstr("of class 'NOTEPAD', by window class 'Notepad'\r\n"),
                                  HasSubstr("  would run save.vbs for process " + std::to_string(m_processId)),
                                  HasSubstr("Nothing: not running\r\n"), Not(HasSubstr("network"))));
    EXPECT_THAT(Apps(L"--state shutdown").out, HasSubstr("nothing would run for shutdown: the entry's 'stateChanges'"));
    EXPECT_THAT(
        Apps(L"--state hibernate-resume").out,
        HasSubstr("nothing would run for hibernate-resume: scripts run before standby, hibernate and shutdown"));
}

TEST_F(AppsCommand, TellsOfEachPatternWhyItTakesAProcessOrNot) {
    Put(L"apps.json", R"({"applications":[{"friendlyName":"Notepad","executables":["note*.exe","write.exe"],
        "windowTitles":["*Report*"],"stateChanges":["hibernate"],"saveScript":"save.vbs"}]})");
    StartNotepad();
    for (const std::wstring& name : {std::wstring(L"notepad"), std::to_wstring(m_processId)}) {
        const CProgramResult result = Apps(L"--why " + name);
        EXPECT_EQ(result.exitCode, 0u) << result.err;
        EXPECT_THAT(result.out, AllOf(HasSubstr(Process()), HasSubstr("executable 'note*.exe' matches 'NOTEPAD.EXE'"),
                                      HasSubstr("executable 'write.exe' does not match 'NOTEPAD.EXE'"),
                                      HasSubstr("window title '*Report*' does not match '")));
    }
    const auto answer = nlohmann::json::parse(Apps(L"--json --why notepad.exe").out);
    const auto& patterns = answer["processes"][0]["applications"][0]["patterns"];
    EXPECT_EQ(patterns[0]["matches"], true);
    EXPECT_EQ(patterns[1]["matches"], false);
    EXPECT_EQ(patterns[2]["kind"], "window title");
    const CProgramResult nobody = Apps(L"--why no-such.exe");
    EXPECT_EQ(nobody.exitCode, 2u);
    EXPECT_THAT(nobody.err, HasSubstr("no process 'no-such.exe' runs"));
}

TEST_F(AppsCommand, TellsProgramsTheSame) {
    PutApps();
    StartNotepad();
    const auto answer = nlohmann::json::parse(Apps(L"--json --state hibernate").out);
    const auto& app = answer["applications"][0];
    EXPECT_EQ(app["application"], "Notepad");
    EXPECT_EQ(app["matches"][0]["process"], m_processId);
    EXPECT_EQ(app["matches"][0]["pattern"]["text"], "notepad.exe");
    EXPECT_EQ(app["matches"][0]["network"], false);
    EXPECT_EQ(app["wouldRunFor"][0], m_processId);
}

TEST_F(AppsCommand, AnUnknownStateInTheFileIsToldWithFileAndEntry) {
    Put(L"apps.json", "{\"applications\":[{\"friendlyName\":\"N\",\"executables\":[\"n.exe\"],\n"
                      "\"stateChanges\":[\"nap\"],\"saveScript\":\"s.vbs\"}]}");
    const CProgramResult result = Apps(L"");
    EXPECT_EQ(result.exitCode, 2u);
    EXPECT_THAT(result.err, HasSubstr("apps.json', line 2, applications/0/stateChanges/0: unknown state 'nap'"));
    PutApps();
    EXPECT_THAT(Apps(L"--state nap").err, HasSubstr("unknown state 'nap'"));
}
