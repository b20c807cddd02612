// The command as its users run it: the real quorline.exe, registered components, signed scripts, and a real Notepad.
// Proves Components and the commands' main roads.

#include "CommandFixture.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace {
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

std::size_t Lines(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}
} // namespace

TEST_F(CommandTest, BadInputGetsOneLineAndItsOwnExitCode) {
    PutApps();
    Put(L"broken.json", "{");
    Put(L"scriptless.json", R"({"applications":[{"friendlyName":"N","executables":["n.exe"],
        "stateChanges":["hibernate"],"saveScript":"none.vbs"}]})");
    const struct {
        std::wstring arguments;
        const char* text;
    } cases[] = {
        {L"", "no command is named"},
        {L"sleep", "there is no command 'sleep'"},
        {L"save --apps x", "--state"},
        {L"save --state hibernate", "\\Quorline\\applications.json' cannot be opened; name yours with --apps"},
        {L"save --state hibernate --apps " + Quoted(L"none.json"), "cannot be opened"},
        {L"save --state hibernate --apps " + Quoted(L"broken.json"), "is not valid JSON"},
        {L"save --state hibernate --apps " + Quoted(L"scriptless.json"), "none.vbs' cannot be read"},
        {L"save --state nap --apps " + Quoted(L"apps.json"), "unknown state 'nap'"},
        {L"restore --apps " + Quoted(L"apps.json"), "--all"},
        {L"restore --all this --apps " + Quoted(L"apps.json"), "--all"},
        {L"restore nothing --apps " + Quoted(L"apps.json"),
         "there is no store and no document 'nothing'; 'quorline history' lists them."},
        {L"try " + Quoted(L"save.vbs") + L" --process explorer.exe --document " + Quoted(L"none.txt"),
         "none.txt' cannot be read; see that it is there and that you may read it."},
        {L"sign", "SCRIPT"},
        {L"cert", "--new-development"},
    };
    for (const auto& c : cases) {
        const CProgramResult result = RunQuorline(c.arguments);
        EXPECT_EQ(result.exitCode, 2u) << c.text;
        EXPECT_THAT(result.err, StartsWith("quorline: "));
        EXPECT_THAT(result.err, HasSubstr(c.text));
        EXPECT_EQ(Lines(result.err), 1u) << result.err;
        EXPECT_THAT(result.out, IsEmpty());
    }
}

TEST_F(CommandTest, AnUnregisteredComponentIsNamedWithWhatToDo) {
    PutApps();
    for (const std::wstring dll : {L"Quorline.dll", L"QuorlineHost.dll", L"QuorlineSigner.dll"}) {
        const std::wstring path = L"\"" + ProgramFolder() + L"\\" + dll + L"\"";
        RunProgram(L"regsvr32 /s /u " + path);
        const CProgramResult result = Save();
        EXPECT_EQ(result.exitCode, 4u) << result.err;
        EXPECT_THAT(result.err, HasSubstr("is not registered; run as administrator: quorline register"));
        EXPECT_EQ(Lines(result.err), 1u) << result.err;
        RunProgram(L"regsvr32 /s " + path);
    }
}

TEST_F(CommandTest, TheSessionServerWithoutItsProxiesIsNotRegistered) {
    PutApps();
    const std::wstring interfaceKey = L"Interface\\{C37DBD08-2F98-4AB1-A7C7-E02A4CEFA2E5}";
    ASSERT_EQ(RegDeleteTreeW(HKEY_CLASSES_ROOT, interfaceKey.c_str()), ERROR_SUCCESS);
    const CProgramResult result = Save();
    Register(L"");
    EXPECT_EQ(result.exitCode, 4u) << result.err;
    EXPECT_THAT(result.err,
                HasSubstr("the session server is not registered: the proxies of its interfaces are missing; run as "
                          "administrator: quorline register"));
    EXPECT_EQ(Lines(result.err), 1u) << result.err;
    EXPECT_EQ(Save().exitCode, 0u);
}

TEST_F(CommandTest, WithNothingProtectedRunningTheMachineMayGo) {
    PutApps();
    const CProgramResult result = Save();
    EXPECT_EQ(result.exitCode, 0u) << result.err;
    EXPECT_THAT(result.out, HasSubstr("no protected application is running"));
    EXPECT_THAT(Stored(L""), IsEmpty());
    EXPECT_THAT(RunQuorline(L"history").out, StartsWith("0 unrecovered documents in "));
}

TEST_F(CommandTest, ASavedDocumentIsListedRestoredOnceAndThenDone) {
    PutApps();
    StartNotepad();
    const CProgramResult saved = Save();
    ASSERT_EQ(saved.exitCode, 0u) << saved.out << saved.err;
    EXPECT_THAT(saved.out, HasSubstr("protected  Notepad, process " + std::to_string(m_processId)));
    EXPECT_THAT(saved.out, HasSubstr("saved      "));
    ASSERT_EQ(Stored(L".txt").size(), 1u);
    EXPECT_THAT(ReadBytes(Stored(L".txt")[0].wstring()),
                StartsWith("notepad.exe " + std::to_string(m_processId) + " "));

    const auto history = nlohmann::json::parse(RunQuorline(L"history --json").out);
    ASSERT_EQ(history["stores"].size(), 1u) << history;
    const auto document = history["stores"][0]["documents"][0];
    EXPECT_EQ(document["name"], "Letter");
    EXPECT_EQ(document["originalPath"], "C:\\letters\\R&D.txt");
    EXPECT_EQ(document["application"], "notepad.exe");
    EXPECT_EQ(document["saveScript"], "save.vbs");
    EXPECT_EQ(document["restoreScript"], "restore.js");
    EXPECT_EQ(document["recovered"], false);

    const CProgramResult restored = Restore(L"--all");
    EXPECT_EQ(restored.exitCode, 0u) << restored.out << restored.err;
    EXPECT_THAT(restored.out, HasSubstr("restoring  1 of 1: "));
    EXPECT_THAT(restored.out, HasSubstr("done       1 of 1 documents restored"));
    EXPECT_EQ(Stored(L".restored").size(), 1u);
    EXPECT_THAT(RunQuorline(L"history").out, HasSubstr("  recovered    "));

    const CProgramResult again = Restore(L"--all");
    EXPECT_EQ(again.exitCode, 0u);
    EXPECT_THAT(again.out, HasSubstr("nothing to restore"));
}

TEST_F(CommandTest, AShutdownIsWrittenIntoTheStoresRecord) {
    PutApps();
    StartNotepad();
    ASSERT_EQ(Save(L"shutdown").exitCode, 0u);
    const std::string info = ReadBytes(Stored(L"info.xml").at(0).wstring());
    EXPECT_THAT(info, HasSubstr("<StateChange>"));
    EXPECT_THAT(info, HasSubstr("\tShutdown\t"));
    EXPECT_EQ(Restore(L"--all").exitCode, 0u);
    EXPECT_THAT(ReadBytes(Stored(L"info.xml").at(0).wstring()), HasSubstr("\tShutdown\t")) << "not a forced one";
}

TEST_F(CommandTest, AStateThatNoScriptCaresAboutRunsNone) {
    PutApps();
    StartNotepad();
    for (const wchar_t* state : {L"standby", L"hibernate-resume", L"force-shutdown"}) {
        const CProgramResult result = Save(state);
        EXPECT_EQ(result.exitCode, 0u) << result.err;
        EXPECT_THAT(Stored(L""), IsEmpty());
    }
}

TEST_F(CommandTest, AFailingScriptVetoesWithItsNameLineAndMessage) {
    PutSigned(L"failing.vbs", "Dim x\nx = 1\nErr.Raise 1000, \"Letters\", \"The letter has no name yet\"\n");
    PutApps("failing.vbs");
    StartNotepad();
    const CProgramResult result = Save();
    EXPECT_EQ(result.exitCode, 3u) << result.err;
    EXPECT_THAT(result.out, HasSubstr("failed     'failing.vbs', line 3"));
    EXPECT_THAT(result.out, HasSubstr("The letter has no name yet"));
    EXPECT_THAT(result.out, HasSubstr("vetoed     the machine must not enter hibernate"));
}

TEST_F(CommandTest, AnAlteredScriptIsRefused) {
    PutApps("altered.vbs.vbs");
    std::string text = ReadBytes(Path(L"save.vbs"));
    text.replace(text.find("Letter"), 6, "Letten");
    Put(L"altered.vbs.vbs", text);
    StartNotepad();
    EXPECT_EQ(RunQuorline(L"verify " + Quoted(L"altered.vbs.vbs")).exitCode, 1u);
    const CProgramResult result = Save();
    EXPECT_EQ(result.exitCode, 3u) << result.err;
    EXPECT_THAT(result.out, HasSubstr("failed     'altered.vbs.vbs': Could not verify script (Script Verification)"));
    EXPECT_THAT(Stored(L".txt"), IsEmpty());
}

TEST_F(CommandTest, ADocumentWhoseRestoreFailsIsNamedAtTheEndAndNotRunAgain) {
    PutApps();
    StartNotepad();
    ASSERT_EQ(Save().exitCode, 0u);
    PutSigned(L"restore.js", "throw new Error('no paper');\n");
    const CProgramResult result = Restore(L"--all");
    EXPECT_EQ(result.exitCode, 1u) << result.out;
    EXPECT_THAT(result.out, HasSubstr("failed     'restore.js', line 1"));
    EXPECT_THAT(result.out, HasSubstr("no paper"));
    EXPECT_THAT(result.out, HasSubstr("not restored  "));
    EXPECT_THAT(Restore(L"--all").out, HasSubstr("nothing to restore"));

    // Named, it may be tried again.
    PutSigned(L"restore.js", RestoreScript);
    EXPECT_EQ(Restore(L"Letter").exitCode, 0u);
    EXPECT_EQ(Stored(L".restored").size(), 1u);
}

TEST_F(CommandTest, AStoreIsRestoredByItsName) {
    PutApps();
    StartNotepad();
    ASSERT_EQ(Save().exitCode, 0u);
    const std::wstring store = Stored(L"info.xml").at(0).parent_path().filename().wstring();
    const CProgramResult result = Restore(L"\"" + store + L"\"");
    EXPECT_EQ(result.exitCode, 0u) << result.err;
    EXPECT_EQ(Stored(L".restored").size(), 1u);
}

TEST_F(CommandTest, AMalformedStoreIsNamedAndTheOthersAreListed) {
    PutApps();
    StartNotepad();
    ASSERT_EQ(Save().exitCode, 0u);
    std::filesystem::create_directories(m_documents.Base() / L"broken");
    std::ofstream(m_documents.Base() / L"broken" / L"info.xml") << "<Nothing";
    for (const wchar_t* command : {L"history", L"history --json"}) {
        const CProgramResult result = RunQuorline(command);
        EXPECT_EQ(result.exitCode, 1u);
        EXPECT_THAT(result.err, StartsWith("quorline: the info file of the store 'broken' cannot be read: "));
        EXPECT_THAT(result.err, EndsWith("; mend its info.xml, or 'quorline forget' it\r\n"));
        EXPECT_THAT(result.out, HasSubstr("Letter"));
    }
    const CProgramResult restored = Restore(L"--all");
    EXPECT_THAT(restored.err, HasSubstr("'broken'"));
    EXPECT_EQ(Stored(L".restored").size(), 1u);
}
