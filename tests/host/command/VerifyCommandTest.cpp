// `quorline verify` on real scripts. Proves VerifyCommand.

#include "CommandFixture.h"

#include <nlohmann/json.hpp>

namespace {
using testing::HasSubstr;
using testing::MatchesRegex;

using VerifyCommand = CommandTest;
} // namespace

TEST_F(VerifyCommand, NamesTheSignerOrTheReasonOfEachScript) {
    PutSigned(L"good.vbs", "x = 1\r\n");
    Put(L"plain.vbs", "x = 1\r\n");
    const CProgramResult result =
        RunQuorline(L"verify " + Quoted(L"missing.js") + L" " + Quoted(L"good.vbs") + L" " + Quoted(L"plain.vbs"));
    EXPECT_EQ(result.exitCode, 1u);
    EXPECT_THAT(result.out, MatchesRegex(".*good\\.vbs: signed by CN=Quorline Development \\(\\w*\\), valid from "
                                         "20.* UTC until 20.* UTC\r\n"));
    EXPECT_THAT(result.err, HasSubstr("cannot read '" + ToUtf8(Path(L"missing.js")) + "': "));
    EXPECT_THAT(result.err, HasSubstr("plain.vbs: not accepted: it is not signed; 'quorline sign' signs it anew, and "
                                      "the operator's guide tells more of each reason\r\n"));
    EXPECT_EQ(RunQuorline(L"verify " + Quoted(L"good.vbs")).exitCode, 0u);
}

TEST_F(VerifyCommand, AScriptThatIsAcceptedDoesNotMakeUpForOneThatIsNot) {
    Put(L"bad.vbs", "x = 1\r\n");
    PutSigned(L"good.vbs", "x = 1\r\n");
    EXPECT_EQ(RunQuorline(L"verify " + Quoted(L"bad.vbs") + L" " + Quoted(L"good.vbs")).exitCode, 1u);
    EXPECT_EQ(RunQuorline(L"verify " + Quoted(L"good.vbs") + L" " + Quoted(L"bad.vbs")).exitCode, 1u);
    EXPECT_EQ(RunQuorline(L"verify " + Quoted(L"good.vbs") + L" " + Quoted(L"good.vbs")).exitCode, 0u);
}

TEST_F(VerifyCommand, TellsProgramsTheSame) {
    PutSigned(L"good.js", "var x;\n");
    PutSigned(L"altered.vbs", "x = 1\r\n");
    Put(L"altered.vbs", "y" + ReadBytes(Path(L"altered.vbs")));
    const CProgramResult result = RunQuorline(L"verify --json " + Quoted(L"good.js") + L" " + Quoted(L"altered.vbs"));
    EXPECT_EQ(result.exitCode, 1u);
    const auto scripts = nlohmann::json::parse(result.out)["scripts"];
    EXPECT_EQ(scripts.at(0)["accepted"], true);
    EXPECT_EQ(scripts.at(0)["subject"], "CN=Quorline Development");
    EXPECT_EQ(scripts.at(0)["thumbprint"].get<std::string>().size(), 40u);
    EXPECT_THAT(scripts.at(0)["validUntil"], HasSubstr(" UTC"));
    EXPECT_EQ(scripts.at(1)["accepted"], false);
    EXPECT_EQ(scripts.at(1)["problem"], "the script was altered after it was signed");
    EXPECT_EQ(scripts.at(1)["subject"], "CN=Quorline Development");
}
