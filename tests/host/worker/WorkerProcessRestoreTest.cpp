// What the restore command promises of scripts that never end and engines that break down, and which copies it takes.
// Proves RestoreCommand and RestoreSelection.

#include "CommandFixture.h"

#include "Processes.h"
#include "StoreFile.h"

#include <nlohmann/json.hpp>

namespace {
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

class RestoreWorkerTest : public CommandTest {
protected:
    void SetUp() override {
        PutSigned(L"restore.js", RestoreScript);
        // Leaves a mark and never ends for one document, and does its work for every other.
        PutSigned(L"stuck.js", "var files = new ActiveXObject('Scripting.FileSystemObject');\n"
                               "var path = TalvinorRestoreScriptArgs.RestoreDocuments.Item(0).TempPath;\n"
                               "if (files.GetFileName(path) == 'b.txt') {\n"
                               "    files.CreateTextFile(path + '.stuck').Close();\n"
                               "    for (;;);\n"
                               "}\n"
                               "files.CopyFile(path, path + '.restored');\n");
    }

    CStoreEntry MakeThree() { return MakeStore(m_documents, L"store", {{L"a.txt"}, {L"b.txt"}, {L"c.txt"}}); }

    std::wstring RestoreCommand(const std::wstring& options) const {
        return QuorlineCommand(L"restore --with " + Quoted(L"stuck.js") + L" " + options);
    }

    std::vector<std::string> Restored() const {
        std::vector<std::string> names;
        for (const auto& path : Stored(L".restored"))
            names.push_back(path.stem().string());
        return names;
    }
};
} // namespace

TEST_F(RestoreWorkerTest, AScriptThatNeverEndsIsEndedAndTheOtherDocumentsGoOn) {
    const CStoreEntry store = MakeThree();
    const CProgramResult result = RunProgram(RestoreCommand(L"--all --script-timeout 10"));
    EXPECT_EQ(result.exitCode, 1u) << result.out << result.err;
    EXPECT_THAT(result.out,
                HasSubstr("restoring  2 of 3: " + ToUtf8(store.directory) +
                          "\\b.txt\r\nfailed     'stuck.js' did not come to its end: it was ended after 10."));
    EXPECT_THAT(result.out, HasSubstr("restoring  3 of 3: " + ToUtf8(store.directory) + "\\c.txt\r\n"));
    EXPECT_THAT(result.out, HasSubstr("done       2 of 3 documents restored\r\nnot restored  " +
                                      ToUtf8(store.directory) + "\\b.txt"));
    EXPECT_THAT(Restored(), UnorderedElementsAre("a.txt", "c.txt"));
    // As for every script that has started: it might have changed something, and is not run again by itself.
    EXPECT_THAT(RecoveredOnDisk(store), ElementsAre(true, true, true));
    EXPECT_EQ(RunQuorline(L"restore b.txt --with " + Quoted(L"restore.js")).exitCode, 0u);
    EXPECT_THAT(Restored(), UnorderedElementsAre("a.txt", "b.txt", "c.txt"));
}

TEST_F(RestoreWorkerTest, ADocumentThatIsNamedIsTriedOnceThoughItsScriptNeverEnds) {
    MakeStore(m_documents, L"store", {{L"b.txt", true}});
    const CProgramResult result = RunProgram(RestoreCommand(L"b.txt --script-timeout 10"));
    EXPECT_EQ(result.exitCode, 1u) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("done       0 of 1 documents restored"));
}

TEST_F(RestoreWorkerTest, ABreakdownInTheWorkerIsTheDocumentsAloneAndTheOthersGoOn) {
    const CStoreEntry store = MakeThree();
    CProgram restore(RestoreCommand(L"--all"));
    ASSERT_TRUE(WaitForFile(store.directory + L"\\b.txt.stuck"));
    const CUniqueHandle worker = WorkerOf(restore.Process());
    const CUniqueHandle thread(CreateRemoteThread(
        worker.Get(), nullptr, 0, reinterpret_cast<LPTHREAD_START_ROUTINE>(std::uintptr_t{16}), nullptr, 0, nullptr));
    ASSERT_TRUE(thread) << GetLastError();
    const CProgramResult result = restore.Wait();
    EXPECT_EQ(result.exitCode, 1u) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("failed     'stuck.js' did not come to its end: an access violation (exception "
                                      "0xC0000005) ended it after "));
    EXPECT_THAT(result.out, HasSubstr("done       2 of 3 documents restored"));
    EXPECT_THAT(Restored(), UnorderedElementsAre("a.txt", "c.txt"));
    EXPECT_THAT(RecoveredOnDisk(store), ElementsAre(true, true, true));
}

TEST_F(RestoreWorkerTest, WhenTheTimeForAllIsOverWhatIsLeftKeepsItsPlaceOnOffer) {
    const CStoreEntry store = MakeThree();
    const CProgramResult result = RunProgram(RestoreCommand(L"--all --timeout 15"));
    EXPECT_EQ(result.exitCode, 1u) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("when the time for all was over"));
    EXPECT_THAT(result.out, HasSubstr("done       1 of 3 documents restored"));
    EXPECT_THAT(result.out, HasSubstr("not restored  " + ToUtf8(store.directory) + "\\c.txt"));
    EXPECT_THAT(RecoveredOnDisk(store), ElementsAre(true, true, false));
}

TEST_F(RestoreWorkerTest, TheLatestCopyOfEachDocumentIsTheOnlyOneThatIsRestored) {
    const CStoreEntry older = MakeStore(m_documents, L"2024-03-07_18.05.09", {{L"a.txt"}, {L"b.txt"}});
    const CStoreEntry newer = MakeStore(m_documents, L"2024-03-08_18.05.09", {{L"a.txt"}, {L"c.txt"}});
    const std::wstring script = L" --with " + Quoted(L"restore.js");
    const CProgramResult result = RunQuorline(L"restore --latest" + script);
    EXPECT_EQ(result.exitCode, 0u) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("done       3 of 3 documents restored\r\nolder         " +
                                      ToUtf8(older.directory) + "\\a.txt"));
    EXPECT_THAT(Restored(), UnorderedElementsAre("a.txt", "b.txt", "c.txt"));
    EXPECT_TRUE(std::filesystem::exists(newer.directory + L"\\a.txt.restored"));
    EXPECT_THAT(RecoveredOnDisk(older), ElementsAre(false, true));
    EXPECT_THAT(RunQuorline(L"restore --latest" + script).out, HasSubstr("nothing to restore"))
        << "what is older than a copy that was restored is no longer wanted";
    EXPECT_THAT(RunQuorline(L"restore --all" + script).out, HasSubstr("done       1 of 1 documents restored"));
}

TEST_F(RestoreWorkerTest, ACopyThatIsGoneIsNotTheLatest) {
    MakeStore(m_documents, L"2024-03-07_18.05.09", {{L"a.txt"}});
    const CStoreEntry newer = MakeStore(m_documents, L"2024-03-08_18.05.09", {{L"a.txt"}});
    std::filesystem::remove(newer.directory + L"\\a.txt");
    const CProgramResult result = RunQuorline(L"restore --latest --with " + Quoted(L"restore.js"));
    EXPECT_THAT(result.out, HasSubstr("done       1 of 2 documents restored"));
    EXPECT_THAT(result.out, HasSubstr("missing       " + ToUtf8(newer.directory) + "\\a.txt"));
    EXPECT_THAT(Restored(), ElementsAre("a.txt"));
}

TEST_F(RestoreWorkerTest, AsDataEachDocumentHasItsOutcome) {
    const CStoreEntry store = MakeThree();
    std::filesystem::remove(store.directory + L"\\a.txt");
    std::filesystem::create_directories(m_documents.Base() / L"broken");
    std::ofstream(m_documents.Base() / L"broken" / L"info.xml") << "<Nothing";
    const CProgramResult result = RunProgram(RestoreCommand(L"--all --script-timeout 10 --json"));
    EXPECT_EQ(result.exitCode, 1u) << result.err;
    const json data = json::parse(result.out);
    ASSERT_EQ(data["documents"].size(), 3u) << data;
    EXPECT_EQ(data["documents"][0]["outcome"], "missing");
    EXPECT_EQ(data["documents"][1]["outcome"], "failed");
    EXPECT_THAT(std::string(data["documents"][1]["trouble"]), HasSubstr("'stuck.js' did not come to its end"));
    EXPECT_EQ(data["documents"][2]["outcome"], "restored");
    EXPECT_EQ(data["documents"][2]["store"], "store");
    EXPECT_EQ(data["documents"][2]["savedCopy"], ToUtf8(store.directory) + "\\c.txt");
    EXPECT_EQ(data["unreadable"][0]["store"], "broken");
}
