// What the save command promises when something goes wrong, and when several saves run. Proves SaveCommand and
// SaveWork.

#include "CommandFixture.h"

#include "LogFile.h"
#include "RegistryValue.h"
#include "RunningApp.h"

#include <nlohmann/json.hpp>

namespace {
using testing::HasSubstr;
using testing::Not;

class SaveTest : public CommandTest {
protected:
    /// An application of a single process, saved by this script.
    void PutAppSavedBy(const std::string& script, const std::wstring& name = L"save.vbs") {
        PutSigned(name, script);
        nlohmann::json app{{"friendlyName", "Letters"},
                           {"executables", {"qlsaved.exe"}},
                           {"stateChanges", {"hibernate", "shutdown"}},
                           {"saveScript", ToUtf8(name)}};
        Put(L"apps.json", nlohmann::json{{"applications", {app}}}.dump());
        m_running = std::make_unique<CRunningApp>(std::vector<CAppWindow>{}, CRunningAppOptions{ExePath()});
    }

    std::wstring SaveCommand() const {
        return QuorlineCommand(L"save --state hibernate --apps " + Quoted(L"apps.json"));
    }
    std::wstring ExePath() const { return m_folder.Path() + L"\\QlSaved.exe"; }

    CAppCopy m_copy{ExePath()};
    std::unique_ptr<CRunningApp> m_running;
};

constexpr const char* SaveLetter = R"(path = TalvinorDocumentStore.GetNew("Letter", "", ".txt")
CreateObject("Scripting.FileSystemObject").CreateTextFile(path).Write "text"
)";
} // namespace

TEST_F(SaveTest, SavesAtOneTimeEachHaveAStoreOfTheirOwn) {
    PutAppSavedBy(SaveLetter);
    std::vector<std::unique_ptr<CProgram>> saves;
    while (saves.size() < 4)
        saves.push_back(std::make_unique<CProgram>(SaveCommand()));
    for (const auto& save : saves) {
        const CProgramResult result = save->Wait();
        EXPECT_EQ(result.exitCode, 0u) << result.out << result.err;
    }
    const auto stores = nlohmann::json::parse(RunQuorline(L"history --json").out)["stores"];
    EXPECT_EQ(stores.size(), 4u);
    for (const auto& store : stores) {
        EXPECT_EQ(store["documents"].size(), 1u);
        EXPECT_EQ(store["documents"][0]["application"], "QlSaved.exe");
    }
    EXPECT_EQ(Stored(L"Letter.txt").size(), 4u);
}

TEST_F(SaveTest, AStoreMadeBeforehandForTheSecondsToComeIsLeftAlone) {
    PutAppSavedBy(SaveLetter);
    // As long as a save takes to begin, on a busy machine too.
    const std::string planted = "<DocStore><Docs></Docs></DocStore>";
    FILETIME time{};
    GetSystemTimeAsFileTime(&time);
    ULARGE_INTEGER ticks{{time.dwLowDateTime, time.dwHighDateTime}};
    for (int i = 0; i < 6; ++i, ticks.QuadPart += 10'000'000) {
        const FILETIME utc{ticks.LowPart, ticks.HighPart};
        FILETIME local{};
        SYSTEMTIME second{};
        FileTimeToLocalFileTime(&utc, &local);
        FileTimeToSystemTime(&local, &second);
        wchar_t name[32];
        _snwprintf_s(name, std::size(name), _TRUNCATE, L"%04d-%02d-%02d_%02d.%02d.%02d", second.wYear, second.wMonth,
                     second.wDay, second.wHour, second.wMinute, second.wSecond);
        std::filesystem::create_directories(m_documents.Base() / name);
        std::ofstream(m_documents.Base() / name / L"info.xml") << planted;
    }
    const CProgramResult result = RunProgram(SaveCommand());
    EXPECT_EQ(result.exitCode, 0u) << result.out << result.err;
    ASSERT_EQ(Stored(L"Letter.txt").size(), 1u);
    std::size_t untouched = 0;
    for (const auto& info : Stored(L"info.xml"))
        untouched += ReadBytes(info.wstring()) == planted ? 1 : 0;
    EXPECT_EQ(untouched, 6u);
    EXPECT_THAT(RunQuorline(L"history").out, HasSubstr("1 unrecovered document in "));
}

TEST_F(SaveTest, ARecordThatCannotBeWrittenStillTellsTheFailingScriptAndTheVeto) {
    PutAppSavedBy(std::string(SaveLetter) + R"(
Set files = CreateObject("Scripting.FileSystemObject")
info = files.GetParentFolderName(path) & "\info.xml"
files.DeleteFile info
files.CreateFolder info
TalvinorDocumentStore.GetNew "Second", "", ".txt"
)");
    const CProgramResult result = RunProgram(SaveCommand());
    EXPECT_EQ(result.exitCode, 3u) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("failed     'save.vbs', line 8"));
    EXPECT_THAT(result.out, HasSubstr("failed     the record of the store '"));
    EXPECT_THAT(result.out, HasSubstr("could not be completed: Permission denied (error 13)"));
    EXPECT_THAT(result.out, HasSubstr("vetoed     the machine must not enter hibernate"));
    EXPECT_THAT(result.out, Not(HasSubstr("done ")));
}

TEST_F(SaveTest, ARecordThatCannotBeCompletedVetoesThoughEveryScriptWorked) {
    PutAppSavedBy(std::string(SaveLetter) + R"(
Set files = CreateObject("Scripting.FileSystemObject")
info = files.GetParentFolderName(path) & "\info.xml"
files.DeleteFile info
files.CreateFolder info
)");
    const CProgramResult result = RunProgram(SaveCommand());
    EXPECT_EQ(result.exitCode, 3u) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("could not be completed: Permission denied (error 13)"));
    EXPECT_THAT(result.out, HasSubstr("vetoed     the machine must not enter hibernate"));
}

TEST_F(SaveTest, AnEngineThatDoesNotStartVetoesAndIsNamedHereAndInTheLog) {
    PutAppSavedBy("x = 1\n", L"without-engine.vbs");
    const CRegistryValue disabled(HKEY_CURRENT_USER, L"Software\\Wine\\AppDefaults\\quorline.exe\\DllOverrides",
                                  L"vbscript", L"");
    const CProgramResult result = RunProgram(SaveCommand());
    EXPECT_EQ(result.exitCode, 3u) << result.out << result.err;
    const std::string failed =
        "'without-engine.vbs', process " + std::to_string(m_running->Id()) + " did not come to its end: ";
    EXPECT_THAT(result.out, HasSubstr("failed     " + failed));
    EXPECT_THAT(result.out, HasSubstr("; the log says more: "));
    EXPECT_THAT(result.out, HasSubstr("\\Morvane\\Talvinor\\Logs\\TalvinorSession.log\r\n"));
    EXPECT_THAT(result.out, HasSubstr("vetoed     the machine must not enter hibernate"));
    EXPECT_THAT(ReadLogFile(), HasSubstr("The state change is vetoed: " + failed));
}

TEST_F(SaveTest, ADocumentThatIsNeverWrittenHasAWarningAndAnExitCodeOfItsOwn) {
    PutAppSavedBy(std::string(SaveLetter) + "TalvinorDocumentStore.GetNew \"Forgotten\", \"\", \".txt\"\n");
    const CProgramResult result = RunProgram(SaveCommand());
    EXPECT_EQ(result.exitCode, 5u) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("Letter.txt\r\n"));
    EXPECT_THAT(result.out, HasSubstr("not saved  "));
    EXPECT_THAT(result.out, HasSubstr("Forgotten.txt\r\n"));
    EXPECT_THAT(result.out, HasSubstr("done       the machine may enter hibernate"));
    EXPECT_EQ(result.err, "quorline: warning: 1 of 2 documents were never written by the script that asked for them; "
                          "look for \"not saved\"\r\n");
}

TEST_F(SaveTest, AVetoCountsMoreThanADocumentThatIsNeverWritten) {
    PutAppSavedBy("TalvinorDocumentStore.GetNew \"Forgotten\", \"\", \".txt\"\nTalvinorDocumentStore.VetoTransition\n");
    const CProgramResult result = RunProgram(SaveCommand());
    EXPECT_EQ(result.exitCode, 3u) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("vetoed     the machine must not enter hibernate"));
    EXPECT_THAT(result.out, Not(HasSubstr("failed ")));
    EXPECT_THAT(result.err, HasSubstr("warning: 1 of 1 "));
}

TEST_F(SaveTest, AShutdownIsWrittenDownAsWhatItWas) {
    PutAppSavedBy(SaveLetter);
    const auto typeOnDisk = [&] {
        const std::string info = ReadBytes(Stored(L"info.xml").at(0).wstring());
        const std::size_t begin = info.find_first_not_of("\t\r\n", info.find("<Type>") + 6);
        return info.substr(begin, info.find_first_of("\t\r\n", begin) - begin);
    };
    ASSERT_EQ(Save(L"shutdown").exitCode, 0u);
    EXPECT_EQ(typeOnDisk(), "Shutdown");
    PutSigned(L"restore.js", RestoreScript);
    ASSERT_EQ(RunQuorline(L"restore --all --with " + Quoted(L"restore.js")).exitCode, 0u);
    EXPECT_EQ(typeOnDisk(), "Shutdown");
}

TEST_F(SaveTest, WhatOthersNameComesOutInOneLine) {
    PutSigned(L"save.vbs", SaveLetter);
    nlohmann::json app{{"friendlyName", "Let\nters \u202e"},
                       {"executables", {"qlsaved.exe"}},
                       {"stateChanges", {"hibernate"}},
                       {"saveScript", "save.vbs"}};
    Put(L"apps.json", nlohmann::json{{"applications", {app}}}.dump());
    const CRunningApp running({}, {ExePath()});
    const CProgramResult result = RunProgram(SaveCommand());
    EXPECT_EQ(result.exitCode, 0u) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("protected  Let\\u000Aters \\u202E, process "));
}

TEST_F(SaveTest, EachLineIsReadableOnThePipeBeforeTheCommandEnds) {
    // Holds the save up until the test has read the line about it; a test that never does gets its answer in the end.
    PutAppSavedBy("Set files = CreateObject(\"Scripting.FileSystemObject\")\n"
                  "start = Timer\n"
                  "Do Until files.FileExists(\"" +
                  ToUtf8(Path(L"go")) +
                  "\")\n"
                  "  If Timer - start > 20 Then Err.Raise 1000, \"test\", \"nobody read the line\"\n"
                  "Loop\n");
    CPipedProgram save(SaveCommand());
    EXPECT_TRUE(save.ReadUntil("protected  Letters, process " + std::to_string(m_running->Id())));
    Put(L"go", "");
    EXPECT_TRUE(save.ReadUntil("done       the machine may enter hibernate"));
    EXPECT_EQ(save.Wait(), 0u);
}
