// What the try command promises: a script runs as on the real road, its author sees all of it, and nothing stays.
// Proves TryCommand, TryWork and ScratchFolder.

#include "CommandFixture.h"

#include "RunningApp.h"

#include <nlohmann/json.hpp>

namespace {
using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class TryTest : public CommandTest {
protected:
    CProgramResult Try(const std::wstring& script, const std::wstring& options = L"") {
        return RunQuorline(L"try " + Quoted(script) + L" --process QlTried.exe " + options);
    }
    /// What trials have made for themselves and not taken away.
    static std::size_t CountScratchFolders() {
        std::filesystem::directory_iterator entries(std::filesystem::temp_directory_path());
        return static_cast<std::size_t>(std::ranges::count_if(entries, [](const auto& entry) {
            return entry.path().filename().wstring().starts_with(L"quorline-try-");
        }));
    }
    std::wstring ExePath() const { return m_folder.Path() + L"\\QlTried.exe"; }
    std::string Process() const { return std::to_string(m_running.Id()); }

    CAppCopy m_copy{ExePath()};
    CRunningApp m_running{{}, {ExePath()}};
};

/// A store of certificates of the user's or the machine's that is empty while it lives. Its record is put aside in the
/// registry, because what is deleted from an open store does not stay deleted everywhere.
class CEmptiedStore {
public:
    CEmptiedStore(HKEY where, const wchar_t* store)
        : m_where(where), m_path(L"Software\\Microsoft\\SystemCertificates\\" + std::wstring(store)) {
        Move(m_path + L"\\Certificates", Aside());
    }
    ~CEmptiedStore() {
        Move(Aside(), m_path + L"\\Certificates");
        RegDeleteTreeW(m_where, Aside().c_str());
    }
    CEmptiedStore(const CEmptiedStore&) = delete;
    CEmptiedStore& operator=(const CEmptiedStore&) = delete;

private:
    std::wstring Aside() const { return m_path + L"Aside"; }

    void Move(const std::wstring& from, const std::wstring& to) const {
        HKEY target = nullptr;
        if (RegCreateKeyW(m_where, to.c_str(), &target) != ERROR_SUCCESS ||
            RegCopyTreeW(m_where, from.c_str(), target) != ERROR_SUCCESS ||
            RegDeleteTreeW(m_where, from.c_str()) != ERROR_SUCCESS)
            ADD_FAILURE() << "the store cannot be moved";
        RegCloseKey(target);
    }

    HKEY m_where;
    std::wstring m_path;
};

constexpr const char* SaveLetter = R"(path = TalvinorDocumentStore.GetNew("Letter", "", ".txt")
TalvinorDocumentStore.LogMessage 3, "a detail of " & Process.Id
CreateObject("Scripting.FileSystemObject").CreateTextFile(path).Write "text"
TalvinorDocumentStore.GetNew "Forgotten", "", ".txt"
)";
} // namespace

TEST_F(TryTest, ASaveScriptRunsWithItsLinesLiveAndItsDocumentsToldAndNothingStays) {
    PutSigned(L"save.vbs", SaveLetter);
    const std::size_t scratchFolders = CountScratchFolders();
    const CProgramResult result = Try(L"save.vbs");
    EXPECT_EQ(result.exitCode, 5u) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("protected  QlTried.exe, process " + Process() + ", "));
    EXPECT_THAT(result.out, HasSubstr("message    DEBUG a detail of " + Process() + "\r\n"));
    EXPECT_THAT(result.out, HasSubstr("reserved   "));
    EXPECT_THAT(result.out, HasSubstr("\\Letter.txt\r\nnot written  "));
    EXPECT_THAT(result.out, HasSubstr("\\Forgotten.txt\r\n"));
    EXPECT_THAT(Stored(L".txt"), IsEmpty());
    EXPECT_THAT(Stored(L"info.xml"), IsEmpty());
    EXPECT_EQ(CountScratchFolders(), scratchFolders);
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

TEST_F(TryTest, WithoutATrustedDevelopmentCertificateTheTwoCommandsThatGetThereAreToldAndNothingRuns) {
    Put(L"unsigned.vbs", SaveLetter);
    const struct {
        HKEY where;
        const wchar_t* store;
        const char* why;
    } cases[] = {
        {HKEY_CURRENT_USER, L"My",
         "no certificate for code signing with a private key is called 'Quorline Development'"},
        {HKEY_LOCAL_MACHINE, L"TrustedPublisher", "its publisher is not one of this machine's trusted publishers"}};
    for (const auto& [where, store, why] : cases) {
        const CEmptiedStore emptied(where, store);
        const CProgramResult result = Try(L"unsigned.vbs", L"--keep");
        EXPECT_EQ(result.exitCode, 1u) << result.out << result.err;
        EXPECT_THAT(result.out, IsEmpty());
        EXPECT_THAT(result.err, AllOf(HasSubstr("unsigned.vbs' is not signed, nothing unsigned runs"), HasSubstr(why),
                                      HasSubstr("; run: quorline cert --new-development --out development.cer, then as "
                                                "administrator: quorline trust development.cer\r\n")));
        EXPECT_THAT(Stored(L".txt"), IsEmpty());
    }
    EXPECT_EQ(Try(L"unsigned.vbs").exitCode, 5u) << "with the certificate it runs";
}

TEST_F(TryTest, AVetoOfTheScriptsOwnIsToldAndLeavesTheMachineAlone) {
    PutSigned(L"veto.js", "TalvinorDocumentStore.VetoTransition();\n");
    const CProgramResult result = Try(L"veto.js");
    EXPECT_EQ(result.exitCode, 3u) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("vetoed     by 'veto.js', process " + Process() + " of QlTried.exe"));
}

TEST_F(TryTest, ALineThatTheScriptLogsIsReadableWhileItRuns) {
    PutSigned(L"talking.vbs", "TalvinorDocumentStore.LogMessage 3, \"here\"\nDo\nLoop\n");
    CPipedProgram trial(
        QuorlineCommand(L"try " + Quoted(L"talking.vbs") + L" --process " + std::to_wstring(m_running.Id())));
    EXPECT_TRUE(trial.ReadUntil("message    DEBUG here\r\n"));
    EXPECT_EQ(WaitForSingleObject(trial.Process(), 0), static_cast<DWORD>(WAIT_TIMEOUT));
    trial.Kill();
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
