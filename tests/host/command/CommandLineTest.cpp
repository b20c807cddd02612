// What every command has in common, asked of the real programs. Proves command/CommandLine and NearestName.

#include "CommandList.h"
#include "Console.h"
#include "ExitCode.h"
#include "LogFile.h"
#include "NearestName.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
} // namespace

TEST(NearestName, TakesWhatWasMeantAndNothingElse) {
    const std::vector<std::string> names{"save",   "restore", "history",  "sign",
                                         "verify", "trust",   "reporter", "repository"};
    const struct {
        const char* typed;
        const char* meant;
    } cases[] = {
        {"sav", "save"},
        {"asve", "save"},
        {"saave", "save"},
        {"restor", "restore"},
        {"resotre", "restore"},
        {"histroy", "history"},
        {"hsitoryy", "history"},
        {"sing", "sign"},
        {"veryfi", "verify"},
        {"hist", "history"},
        {"hi", ""},
        {"install", ""},
        {"repo", ""},
        {"x", ""},
        {"", ""},
        {"hibernate-now", ""},
    };
    for (const auto& [typed, meant] : cases)
        EXPECT_EQ(FindNearestName(typed, names), meant) << typed;
    EXPECT_EQ(FindNearestName("xy", {"on", "of"}), "") << "as many changes as there are characters";
}

TEST(CommandLine, AMistypedNameGetsTheNearestRightOneAndWhereToReadOn) {
    const struct {
        const wchar_t* arguments;
        const char* text;
    } cases[] = {
        {L"histroy", "there is no command 'histroy'; did you mean 'history'? 'quorline --help' lists the commands"},
        {L"xyzzy", "there is no command 'xyzzy'; 'quorline --help' lists the commands"},
        {L"svae history", "there is no command 'svae'; did you mean 'save'? 'quorline --help' lists the commands"},
        {L"", "no command is named; 'quorline --help' lists the commands"},
        {L"save --sate hibernate",
         "'save' has no option '--sate'; did you mean '--state'? 'quorline save --help' tells what it takes"},
        {L"save --sate=hibernate",
         "'save' has no option '--sate=hibernate'; did you mean '--state'? 'quorline save --help' tells what it takes"},
        {L"history --jsno", "'history' has no option '--jsno'; did you mean '--json'? 'quorline history --help' tells "
                            "what it takes"},
        {L"history --password", "'history' has no option '--password'; 'quorline history --help' tells what it takes"},
        {L"history /json", "'history' cannot take '/json' as well; 'quorline history --help' tells what it takes"},
        {L"history now", "'history' cannot take 'now' as well; 'quorline history --help' tells what it takes"},
        {L"sign", "SCRIPT is required; 'quorline sign --help' tells what it takes"},
        {L"sign a.vbs --cert", "--cert: 1 required TEXT missing; 'quorline sign --help' tells what it takes"},
        {L"sign a.vbs --cert \"\"", "--cert: needs a value; 'quorline sign --help' tells what it takes"},
        {L"sign a.vbs --cert x --thumbprint y",
         "--cert excludes --thumbprint; 'quorline sign --help' tells what it takes"},
        {L"history --log-level loud", "--log-level: loud not in {error,warn,info,debug}; 'quorline history --help' "
                                      "tells what it takes"},
    };
    for (const auto& [arguments, text] : cases) {
        const CProgramResult result = RunQuorline(arguments);
        EXPECT_EQ(result.exitCode, 2u) << text;
        EXPECT_EQ(result.err, "quorline: " + std::string(text) + "\r\n");
        EXPECT_THAT(result.out, IsEmpty());
    }
}

TEST(CommandLine, TheWholeTableOfExitCodesIsInTheProgramsOwnHelp) {
    const std::string help = RunQuorline(L"--help").out;
    for (const auto& [code, meaning] : ExitCodeMeanings)
        EXPECT_THAT(help, HasSubstr("  " + std::to_string(static_cast<int>(code)) + "  " + ToUtf8(meaning)));
}

TEST(CommandLine, TheVersionIsThatOfTheLibrary) {
    const CProgramResult result = RunQuorline(L"--version");
    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_THAT(result.out, AllOf(StartsWith("quorline 5."), EndsWith(".0\r\n")));
}

TEST(CommandLine, QuietLeavesNothingButTroublesAndTheDataThatWasAskedFor) {
    EXPECT_THAT(RunQuorline(L"history").out, Not(IsEmpty()));
    EXPECT_THAT(RunQuorline(L"history --quiet").out, IsEmpty());
    EXPECT_THAT(RunQuorline(L"history --quiet --json").out, StartsWith("{"));
    EXPECT_THAT(RunQuorline(L"verify --quiet none.vbs").err, HasSubstr("cannot read 'none.vbs'"));
}

TEST(CommandLine, TheLogHoldsAsMuchAsTheCommandIsTold) {
    const CTempFolder folder;
    const std::wstring script = folder.Path() + L"\\plain.vbs";
    std::ofstream(std::filesystem::path(script)) << "x = 1";
    const std::string refused = "Refused '" + ToUtf8(script) + "': it is not signed";
    EXPECT_EQ(RunQuorline(L"verify \"" + script + L"\" --log-level error").exitCode, 1u);
    EXPECT_THAT(ReadLogFile(), Not(HasSubstr(refused)));
    for (const wchar_t* told : {L"warn", L"debug"}) {
        const std::size_t before = ReadLogFile().size();
        EXPECT_EQ(RunQuorline(L"verify \"" + script + L"\" --log-level " + told).exitCode, 1u);
        EXPECT_THAT(ReadLogFile().substr(before), HasSubstr(refused));
    }
}

TEST(SigningProgram, HasTheSigningCommandsAloneAndTheSameParser) {
    EXPECT_THAT(CommandsOf(L"quorline-sign.exe"), testing::IsSupersetOf({"sign", "verify", "trust", "cert"}));
    const CProgramResult result = RunProgram(L"\"" + ProgramFolder() + L"\\quorline-sign.exe\" save");
    EXPECT_EQ(result.exitCode, 2u);
    EXPECT_EQ(result.err, "quorline-sign: there is no command 'save'; 'quorline-sign --help' lists the commands\r\n");
    EXPECT_THAT(RunProgram(L"\"" + ProgramFolder() + L"\\quorline-sign.exe\" --version").out,
                StartsWith("quorline-sign 5."));
}
