// What the try command promises: a script runs as on the real road, its author sees all of it, and nothing stays.
// Proves TryCommand, TryWork and ScratchFolder.

#include "CommandFixture.h"

#include "RunningApp.h"

#include <nlohmann/json.hpp>

namespace {
using nlohmann::json;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class TryTest : public CommandTest {
protected:
    CProgramResult Try(const std::wstring& script, const std::wstring& options = L"") {
        return RunQuorline(L"try " + Quoted(script) + L" --process QlTried.exe " + options);
    }
    std::wstring ExePath() const { return m_folder.Path() + L"\\QlTried.exe"; }
    std::string Process() const { return std::to_string(m_running.Id()); }

    CAppCopy m_copy{ExePath()};
    CRunningApp m_running{{}, {ExePath()}};
};

constexpr const char* SaveLetter = R"(path = TalvinorDocumentStore.GetNew("Letter", "", ".txt")
TalvinorDocumentStore.LogMessage 3, "a detail of " & Process.Id
CreateObject("Scripting.FileSystemObject").CreateTextFile(path).Write "text"
TalvinorDocumentStore.GetNew "Forgotten", "", ".txt"
)";
} // namespace

TEST_F(TryTest, ASaveScriptRunsWithItsLinesLiveAndItsDocumentsToldAndNothingStays) {
    PutSigned(L"save.vbs", SaveLetter);
    const CProgramResult result = Try(L"save.vbs");
    EXPECT_EQ(result.exitCode, 5u) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("protected  QlTried.exe, process " + Process() + ", "));
    EXPECT_THAT(result.out, HasSubstr("message    DEBUG a detail of " + Process() + "\r\n"));
    EXPECT_THAT(result.out, HasSubstr("reserved   "));
    EXPECT_THAT(result.out, HasSubstr("\\Letter.txt\r\nnot written  "));
    EXPECT_THAT(result.out, HasSubstr("\\Forgotten.txt\r\n"));
    EXPECT_THAT(Stored(L".txt"), IsEmpty());
    EXPECT_THAT(Stored(L"info.xml"), IsEmpty());
}

TEST_F(TryTest, WhatIsKeptLiesApartFromTheStores) {
    PutSigned(L"save.vbs", SaveLetter);
    const CProgramResult result = Try(L"save.vbs", L"--keep");
    const std::size_t begin = result.out.find("kept       ");
    ASSERT_NE(begin, std::string::npos) << result.out << result.err;
    const std::wstring folder = FromUtf8(result.out.substr(begin + 11, result.out.find("\r\n", begin) - begin - 11));
    EXPECT_EQ(ReadBytes(folder + L"\\store\\Letter.txt"), "text");
    EXPECT_THAT(Stored(L".txt"), IsEmpty());
    std::filesystem::remove_all(folder);
}

TEST_F(TryTest, AnErrorShowsItsLineWithACaretAndItsNumber) {
    PutSigned(L"failing.vbs", "x = 1\n\ty = x / 0\n");
    const CProgramResult result = Try(L"failing.vbs");
    EXPECT_EQ(result.exitCode, 1u) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("failed     'failing.vbs', line 2, character "));
    EXPECT_THAT(result.out, HasSubstr("2 |  y = x / 0\r\n    "));
    EXPECT_THAT(result.out, HasSubstr("^\r\nnumber     Division by zero (error 11)\r\n"));
}

TEST_F(TryTest, ARestoreScriptGetsACopyOfTheDocument) {
    PutSigned(L"restore.js", "var document = TalvinorRestoreScriptArgs.RestoreDocuments.Item(0);\n"
                             "var files = new ActiveXObject('Scripting.FileSystemObject');\n"
                             "files.CreateTextFile(document.OriginalPath + '.seen').Write(\n"
                             "    files.OpenTextFile(document.TempPath).ReadAll());\n"
                             "files.DeleteFile(document.TempPath);\n");
    Put(L"letter.txt", "text");
    const CProgramResult result = Try(L"restore.js", L"--document " + Quoted(L"letter.txt"));
    EXPECT_EQ(result.exitCode, 0u) << result.out << result.err;
    EXPECT_EQ(ReadBytes(Path(L"letter.txt")), "text");
    EXPECT_EQ(ReadBytes(Path(L"letter.txt.seen")), "text");
}

TEST_F(TryTest, AnUnsignedScriptIsTriedAsASignedCopyAndSaidSo) {
    Put(L"unsigned.vbs", SaveLetter);
    const CProgramResult result = Try(L"unsigned.vbs");
    EXPECT_EQ(result.exitCode, 5u) << result.out << result.err;
    EXPECT_THAT(result.out,
                HasSubstr("signed     a copy for this trial, with the certificate 'Quorline Development'\r\n"));
    EXPECT_EQ(ReadBytes(Path(L"unsigned.vbs")), SaveLetter) << "the script itself stays as it is";
}

TEST_F(TryTest, AnAlteredScriptIsRefusedWithItsReason) {
    PutSigned(L"altered.vbs", SaveLetter);
    std::string text = ReadBytes(Path(L"altered.vbs"));
    Put(L"altered.vbs", text.replace(text.find("Letter"), 6, "Letten"));
    const CProgramResult result = Try(L"altered.vbs");
    EXPECT_EQ(result.exitCode, 1u) << result.out << result.err;
    EXPECT_THAT(result.err, HasSubstr("is refused: the script was altered after it was signed; sign it again"));
    EXPECT_THAT(result.out, Not(HasSubstr("protected")));
}

TEST_F(TryTest, AScriptThatNeverEndsIsEndedAndItsStoreGoes) {
    PutSigned(L"endless.vbs", std::string(SaveLetter) + "Do\nLoop\n");
    const CProgramResult result = Try(L"endless.vbs", L"--script-timeout 10");
    EXPECT_EQ(result.exitCode, 1u) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("did not come to its end: it was ended after 10."));
    EXPECT_THAT(result.out, HasSubstr("written    "));
    EXPECT_THAT(Stored(L".txt"), IsEmpty());
}

TEST_F(TryTest, AProcessThatIsNotThereAndOneOfSeveralAreNamed) {
    PutSigned(L"save.vbs", SaveLetter);
    EXPECT_THAT(RunQuorline(L"try " + Quoted(L"save.vbs") + L" --process none.exe").err,
                HasSubstr("no process 'none.exe' is running"));
    const CRunningApp second({}, {ExePath()});
    const CProgramResult result = Try(L"save.vbs");
    EXPECT_EQ(result.exitCode, 2u);
    EXPECT_THAT(result.err, HasSubstr("give the number of one: "));
    EXPECT_EQ(RunQuorline(L"try " + Quoted(L"save.vbs") + L" --process " + std::to_wstring(second.Id())).exitCode, 5u);
}

TEST_F(TryTest, AsDataTheErrorHasItsParts) {
    PutSigned(L"failing.vbs", "x = 1\ny = x / 0\n");
    const json data = json::parse(Try(L"failing.vbs", L"--json").out);
    EXPECT_EQ(data["error"]["line"], 2);
    EXPECT_EQ(data["error"]["number"], 0x80020012u);
    EXPECT_EQ(data["troubles"].size(), 1u);
}
