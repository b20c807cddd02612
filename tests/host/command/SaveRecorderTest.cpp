// What a save writes down about each document, and which restore script that leads to. Proves SaveRecorder and
// RestoreScripts.

#include "CommandFixture.h"

#include "ImportHook.h"
#include "NoEvents.h"
#include "RunningApp.h"
#include "SaveWork.h"

#include <psapi.h>

#include <nlohmann/json.hpp>

#include <regex>
#include <set>

namespace {
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

/// A save script that stores one document of this name.
std::string SaveOne(const std::string& name) {
    return "path = TalvinorDocumentStore.GetNew(\"" + name +
           "\", \"\", \".txt\")\n"
           "Set file = CreateObject(\"Scripting.FileSystemObject\").CreateTextFile(path, True)\n"
           "file.Write Process.ImageName\n"
           "file.Close\n";
}

/// A restore script that leaves a file beside the saved copy with this ending.
std::string RestoreAs(const std::string& ending) {
    return "var files = new ActiveXObject('Scripting.FileSystemObject');\n"
           "var path = TalvinorRestoreScriptArgs.RestoreDocuments.Item(0).TempPath;\n"
           "files.CopyFile(path, path + '." +
           ending + "');\n";
}

class RecordTest : public CommandTest {
protected:
    struct CApp {
        std::string name;
        std::string executable;
        std::string save;
        std::string restore;
    };

    void PutAppsOf(const std::vector<CApp>& apps) {
        json list = json::array();
        for (const auto& app : apps)
            list.push_back({{"friendlyName", app.name},
                            {"executables", {app.executable}},
                            {"stateChanges", {"hibernate", "shutdown"}},
                            {"saveScript", app.save},
                            {"restoreScript", app.restore}});
        Put(L"apps.json", json{{"applications", list}}.dump());
    }

    static json History() { return json::parse(RunQuorline(L"history --json").out)["stores"]; }

    /// The value of one key of every document, in the order of the list.
    static std::vector<std::string> Values(const char* key) {
        std::vector<std::string> values;
        for (const auto& store : History())
            for (const auto& document : store["documents"])
                values.push_back(document[key]);
        return values;
    }

    /// Names of the files that end so, in all stores.
    std::vector<std::string> Names(const std::wstring& ending) const {
        std::vector<std::string> names;
        for (const auto& path : Stored(ending))
            names.push_back(path.filename().string());
        return names;
    }

    std::wstring ExePath() const { return m_folder.Path() + L"\\QlRecorded.exe"; }

    CAppCopy m_copy{ExePath()};
};
} // namespace

TEST_F(RecordTest, TwoApplicationsThatMatchOneProcessEachKeepTheirOwnDocumentsAndScripts) {
    PutSigned(L"first.vbs", SaveOne("First"));
    PutSigned(L"second.vbs", SaveOne("Second"));
    PutSigned(L"first.js", RestoreAs("by-first"));
    PutSigned(L"second.js", RestoreAs("by-second"));
    PutAppsOf({{"One", "qlrecorded.exe", "first.vbs", "first.js"}, {"Two", "qlrec*.exe", "second.vbs", "second.js"}});
    const CRunningApp running({}, {ExePath()});
    ASSERT_EQ(Save().exitCode, 0u);
    EXPECT_THAT(Values("name"), ElementsAre("First", "Second"));
    EXPECT_THAT(Values("application"), ElementsAre("QlRecorded.exe", "QlRecorded.exe"));
    EXPECT_THAT(Values("saveScript"), ElementsAre("first.vbs", "second.vbs"));
    EXPECT_THAT(Values("restoreScript"), ElementsAre("first.js", "second.js"));
    EXPECT_EQ(Restore(L"--all").exitCode, 0u);
    EXPECT_THAT(Names(L".by-first"), ElementsAre("First.txt.by-first"));
    EXPECT_THAT(Names(L".by-second"), ElementsAre("Second.txt.by-second"));
}

namespace {
int g_processLists = 0;
BOOL WINAPI CountedEnumProcesses(DWORD* ids, DWORD size, DWORD* returned) {
    ++g_processLists;
    return EnumProcesses(ids, size, returned);
}
} // namespace

TEST_F(RecordTest, MoreRunningProcessesAreNotListedMoreOften) {
    PutSigned(L"save.vbs", SaveOne("Letter"));
    PutSigned(L"restore.js", RestoreAs("restored"));
    PutAppsOf({{"Letters", "qlrecorded.exe", "save.vbs", "restore.js"}});
    const CImportHook hook(GetModuleHandleW(L"Quorline.dll"), "K32EnumProcesses", &CountedEnumProcesses);
    const auto listsFor = [&](int processes) {
        std::vector<std::unique_ptr<CRunningApp>> running;
        while (running.size() < static_cast<std::size_t>(processes))
            running.push_back(std::make_unique<CRunningApp>(std::vector<CAppWindow>{}, CRunningAppOptions{ExePath()}));
        g_processLists = 0;
        CNoEvents nobody;
        EXPECT_THAT(DoSave({L"hibernate", Path(L"apps.json")}, nobody).troubles, IsEmpty());
        return g_processLists;
    };
    const int one = listsFor(1);
    EXPECT_GE(one, 1);
    EXPECT_LE(listsFor(5), one + 1) << "a longer list may take one call more";
    EXPECT_EQ(Stored(L".txt").size(), 6u);
}

TEST_F(RecordTest, EachProcessOfAnApplicationHasItsOwnPathInTheRecord) {
    const std::wstring folder = m_folder.Path() + L"\\other";
    std::filesystem::create_directories(folder);
    const CAppCopy elsewhere(folder + L"\\QlRecorded.exe");
    PutSigned(L"save.vbs", SaveOne("Letter"));
    PutSigned(L"restore.js", RestoreAs("restored"));
    PutAppsOf({{"Letters", "qlrecorded.exe", "save.vbs", "restore.js"}});
    const CRunningApp one({}, {ExePath()});
    const CRunningApp other({}, {elsewhere.Path()});
    const CProgramResult saved = Save();
    ASSERT_EQ(saved.exitCode, 0u) << saved.out;
    EXPECT_THAT(saved.out, HasSubstr("protected  Letters, process " + std::to_string(one.Id())));
    EXPECT_THAT(saved.out, HasSubstr("protected  Letters, process " + std::to_string(other.Id())));
    EXPECT_THAT(Values("applicationPath"), UnorderedElementsAre(ToUtf8(ExePath()), ToUtf8(elsewhere.Path())));
}

TEST_F(RecordTest, WhatAKilledSaveLeavesIsRestoredByTheApplicationOfItsProgram) {
    // The second run of the script never ends; the first one's document is complete, the second's names no script.
    PutSigned(L"save.vbs", SaveOne("Letter") +
                               "Set files = CreateObject(\"Scripting.FileSystemObject\")\n"
                               "If files.FileExists(\"" +
                               ToUtf8(Path(L"again")) +
                               "\") Then\n"
                               "  files.CreateTextFile(\"" +
                               ToUtf8(Path(L"hanging")) +
                               "\").Close\n"
                               "  Do\n"
                               "  Loop\n"
                               "End If\n"
                               "files.CreateTextFile(\"" +
                               ToUtf8(Path(L"again")) + "\").Close\n");
    PutSigned(L"wrong.js", RestoreAs("wrong"));
    PutSigned(L"restore.js", RestoreAs("restored"));
    PutAppsOf({{"Others", "other*.exe", "save.vbs", "wrong.js"}, {"Letters", "qlrec*.exe", "save.vbs", "restore.js"}});
    const CRunningApp one({}, {ExePath()});
    const CRunningApp other({}, {ExePath()});
    CProgram save(QuorlineCommand(L"save --state hibernate --apps " + Quoted(L"apps.json")));
    ASSERT_TRUE(WaitForFile(Path(L"hanging")));
    save.Kill();
    EXPECT_THAT(Values("application"), ElementsAre("QlRecorded.exe", "QlRecorded.exe"));
    EXPECT_THAT(Values("restoreScript"), ElementsAre("restore.js", ""));

    const CProgramResult restored = Restore(L"--all");
    EXPECT_EQ(restored.exitCode, 0u) << restored.out << restored.err;
    EXPECT_THAT(Names(L".restored"), UnorderedElementsAre("Letter.txt.restored", "Letter(1).txt.restored"));
}

TEST_F(RecordTest, TheRecordedScriptGoesBeforeThePatternThatMatches) {
    PutSigned(L"save.vbs", SaveOne("Letter"));
    PutSigned(L"recorded.js", RestoreAs("recorded"));
    PutSigned(L"matching.js", RestoreAs("matching"));
    PutAppsOf({{"Letters", "qlrecorded.exe", "save.vbs", "recorded.js"}});
    const CRunningApp running({}, {ExePath()});
    ASSERT_EQ(Save().exitCode, 0u);
    PutAppsOf({{"Matching", "qlrecorded.exe", "save.vbs", "matching.js"},
               {"Recorded", "renamed.exe", "save.vbs", "recorded.js"}});
    EXPECT_EQ(Restore(L"--all").exitCode, 0u);
    EXPECT_THAT(Names(L".recorded"), ElementsAre("Letter.txt.recorded"));
    EXPECT_THAT(Names(L".matching"), ElementsAre());
}

TEST_F(RecordTest, OfTwoScriptsWithOneNameTheProgramsOwnIsTaken) {
    std::filesystem::create_directories(Path(L"a"));
    std::filesystem::create_directories(Path(L"b"));
    PutSigned(L"save.vbs", SaveOne("Letter"));
    PutSigned(L"a\\restore.js", RestoreAs("by-a"));
    PutSigned(L"b\\restore.js", RestoreAs("by-b"));
    PutAppsOf({{"Others", "other.exe", "save.vbs", "a/restore.js"},
               {"Letters", "qlrecorded.exe", "save.vbs", "b/restore.js"}});
    const CRunningApp running({}, {ExePath()});
    ASSERT_EQ(Save().exitCode, 0u);
    EXPECT_EQ(Restore(L"--all").exitCode, 0u);
    EXPECT_THAT(Names(L".by-b"), ElementsAre("Letter.txt.by-b"));
}

TEST_F(RecordTest, AScriptGivenByNameIsRunWhateverTheRecordSays) {
    PutSigned(L"save.vbs", SaveOne("Letter"));
    PutSigned(L"restore.js", RestoreAs("recorded"));
    PutSigned(L"mine.js", RestoreAs("mine"));
    PutAppsOf({{"Letters", "qlrecorded.exe", "save.vbs", "restore.js"}});
    const CRunningApp running({}, {ExePath()});
    ASSERT_EQ(Save().exitCode, 0u);
    const CProgramResult restored = RunQuorline(L"restore --all --with " + Quoted(L"mine.js"));
    EXPECT_EQ(restored.exitCode, 0u) << restored.out << restored.err;
    EXPECT_THAT(Names(L".mine"), ElementsAre("Letter.txt.mine"));
    EXPECT_THAT(Names(L".recorded"), ElementsAre());
    EXPECT_EQ(RunQuorline(L"restore --all --with " + Quoted(L"none.js")).exitCode, 2u);
    EXPECT_EQ(RunQuorline(L"restore --all").exitCode, 2u) << "neither applications nor a script";
}

TEST_F(RecordTest, ItsGuideTellsOfEachElementWhereItStands) {
    PutApps();
    StartNotepad();
    ASSERT_EQ(Save(L"shutdown").exitCode, 0u);
    // Each element stands on a line of its own, indented below the one that it is in.
    std::set<std::string> written;
    std::vector<std::string> open;
    std::istringstream record(ReadBytes(Stored(L"info.xml").at(0).wstring()));
    for (std::string line; std::getline(record, line);) {
        std::smatch tag;
        if (!std::regex_match(line, tag, std::regex("\\t*<(/?)(\\w+)>\\r")))
            continue;
        if (tag[1] == "/") {
            open.pop_back();
            continue;
        }
        if (!open.empty() && tag[2] != "Doc")
            written.insert(tag[2].str() + " in " + open.back());
        open.push_back(tag[2]);
    }
    std::set<std::string> told;
    std::istringstream guide(ReadBytes(L"" QUORLINE_DOCS "/info-file.md"));
    for (std::string line; std::getline(guide, line);)
        if (std::smatch row; std::regex_search(line, row, std::regex("^\\| `(\\w+)` \\| `(\\w+)` \\|")))
            told.insert(row[1].str() + " in " + row[2].str());
    EXPECT_EQ(written, told);
    EXPECT_EQ(told.size(), 14u);
}
