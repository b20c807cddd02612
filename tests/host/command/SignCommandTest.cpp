// The signing commands, with a development certificate that this machine trusts. Proves SignCommand.

#include "CommandFixture.h"

#include <nlohmann/json.hpp>

namespace {
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

using SignCommand = CommandTest;
} // namespace

TEST_F(SignCommand, SignsEachScriptAndSaysWithWhat) {
    Put(L"a.vbs", "x = 1\r\n");
    Put(L"b.js", "var x;\n");
    const CProgramResult result = RunQuorline(L"sign " + Quoted(L"a.vbs") + L" " + Quoted(L"b.js"));
    EXPECT_EQ(result.exitCode, 0u) << result.err;
    EXPECT_THAT(result.out, HasSubstr("a.vbs: signed by CN=Quorline Development ("));
    EXPECT_THAT(result.out, HasSubstr("b.js: signed by CN=Quorline Development ("));
    EXPECT_THAT(result.err, IsEmpty());
    for (const wchar_t* script : {L"a.vbs", L"b.js"})
        EXPECT_TRUE(CScriptVerifier().VerifyFile(Path(script)).accepted);
}

TEST_F(SignCommand, OneScriptThatFailsDoesNotKeepTheOthersFromIt) {
    Put(L"good.vbs", "x = 1\r\n");
    const CProgramResult result = RunQuorline(L"sign --json " + Quoted(L"missing.vbs") + L" " + Quoted(L"good.vbs"));
    EXPECT_EQ(result.exitCode, 1u);
    EXPECT_THAT(result.err, StartsWith("quorline: cannot read '" + ToUtf8(Path(L"missing.vbs")) + "': "));
    EXPECT_TRUE(CScriptVerifier().VerifyFile(Path(L"good.vbs")).accepted);
    const auto scripts = nlohmann::json::parse(result.out)["scripts"];
    EXPECT_EQ(scripts.at(0)["script"], ToUtf8(Path(L"missing.vbs")));
    EXPECT_THAT(scripts.at(0)["problem"], HasSubstr("cannot read"));
    EXPECT_EQ(scripts.at(1)["subject"], "CN=Quorline Development");
    EXPECT_EQ(scripts.at(1)["thumbprint"].get<std::string>().size(), 40u);
}

TEST_F(SignCommand, AnEmptyValueIsNoWordForAnotherCertificate) {
    Put(L"a.vbs", "x = 1\r\n");
    for (const wchar_t* option : {L"--cert", L"--thumbprint"}) {
        const CProgramResult result = RunQuorline(L"sign " + Quoted(L"a.vbs") + L" " + option + L" \"\"");
        EXPECT_EQ(result.exitCode, 2u) << result.out;
        EXPECT_THAT(result.err, HasSubstr(ToUtf8(option) + ": needs a value"));
    }
    EXPECT_EQ(ReadBytes(Path(L"a.vbs")), "x = 1\r\n");
}

TEST_F(SignCommand, AMissingPasswordIsToldByTheNameOfItsVariable) {
    Put(L"a.vbs", "x = 1\r\n");
    Put(L"key.pfx", "no such thing");
    const CProgramResult result = RunQuorline(L"sign " + Quoted(L"a.vbs") + L" --cert " + Quoted(L"key.pfx"));
    EXPECT_EQ(result.exitCode, 1u);
    EXPECT_THAT(result.err, HasSubstr("or it has a password; set QUORLINE_PFX_PASSWORD to it"));
}
