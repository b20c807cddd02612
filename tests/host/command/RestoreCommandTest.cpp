// What the restore command promises: which scripts run for which documents, how often, and what is on disk by then.
// Proves RestoreCommand, RestoreWork, RestoreOperation and HistoryCommand.

#include "CommandFixture.h"

#include "ImportHook.h"
#include "NoEvents.h"
#include "RegistryValue.h"
#include "RestoreWork.h"
#include "StoreFile.h"

#include <nlohmann/json.hpp>

#include <wincrypt.h>

namespace {
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;

class RestoreTest : public CommandTest {
protected:
    void SetUp() override { PutSigned(L"restore.js", RestoreScript); }

    CProgramResult RestoreAll(const std::wstring& script = L"restore.js") {
        return RunQuorline(L"restore --all --with " + Quoted(script));
    }

    /// Every document of a store, in this process.
    void RestoreHere(const CStoreEntry& store, const std::wstring& script) {
        CRestoreOrder order{L"", Path(script), {}};
        for (std::size_t i = 0; i < store.Documents().size(); ++i)
            order.documents.push_back({store.name, i});
        CNoEvents nobody;
        DoRestore(order, nobody);
    }

    /// Names of the documents whose restore script ran to its end.
    std::vector<std::string> Restored() const {
        std::vector<std::string> names;
        for (const auto& path : Stored(L".restored"))
            names.push_back(path.stem().string());
        return names;
    }
};
} // namespace

TEST_F(RestoreTest, AScriptThatIsRefusedLeavesItsDocumentUnrecovered) {
    const CStoreEntry store = MakeStore(m_documents, L"store", {{L"a.txt"}, {L"b.txt"}});
    Put(L"unsigned.js", RestoreScript);
    PutSigned(L"altered.js", RestoreScript);
    std::string text = ReadBytes(Path(L"altered.js"));
    Put(L"altered.js", text.replace(text.find("documents"), 9, "Documents"));
    for (const wchar_t* script : {L"unsigned.js", L"altered.js"}) {
        const CProgramResult result = RestoreAll(script);
        EXPECT_EQ(result.exitCode, 1u) << result.out << result.err;
        EXPECT_THAT(result.out, HasSubstr("failed     '" + ToUtf8(script) + "': Could not verify script"));
        EXPECT_THAT(result.out, HasSubstr("done       0 of 2 documents restored"));
        EXPECT_THAT(RecoveredOnDisk(store), ElementsAre(false, false));
    }
    EXPECT_EQ(RestoreAll().exitCode, 0u);
    EXPECT_THAT(Restored(), UnorderedElementsAre("a.txt", "b.txt"));
}

TEST_F(RestoreTest, AScriptWithoutItsEngineLeavesItsDocumentUnrecovered) {
    const CStoreEntry store = MakeStore(m_documents, L"store", {{L"a.txt"}});
    {
        const CRegistryValue disabled(HKEY_CURRENT_USER, L"Software\\Wine\\AppDefaults\\quorline.exe\\DllOverrides",
                                      L"jscript", L"");
        const CProgramResult result = RestoreAll();
        EXPECT_EQ(result.exitCode, 1u) << result.out << result.err;
        EXPECT_THAT(result.out, HasSubstr("failed     'restore.js' could not be started: "));
        EXPECT_THAT(RecoveredOnDisk(store), ElementsAre(false));
    }
    EXPECT_EQ(RestoreAll().exitCode, 0u);
    EXPECT_THAT(RecoveredOnDisk(store), ElementsAre(true));
}

TEST_F(RestoreTest, AScriptThatCannotBeReadLeavesItsDocumentUnrecovered) {
    const CStoreEntry store = MakeStore(m_documents, L"store", {{L"a.txt"}});
    const CProgramResult result = RestoreAll(L"none.js");
    EXPECT_EQ(result.exitCode, 2u);
    EXPECT_THAT(result.err, HasSubstr("none.js' cannot be read"));
    EXPECT_THAT(RecoveredOnDisk(store), ElementsAre(false));
}

TEST_F(RestoreTest, AScriptThatFailsHasStartedAndIsNotTriedAgain) {
    const CStoreEntry store = MakeStore(m_documents, L"store", {{L"a.txt"}});
    // Even one that calls its error what the runner calls a refusal.
    PutSigned(L"failing.vbs", "Err.Raise 1000, \"Script Verification\", \"no paper\"\n");
    const CProgramResult result = RestoreAll(L"failing.vbs");
    EXPECT_EQ(result.exitCode, 1u) << result.out;
    EXPECT_THAT(result.out, HasSubstr("failed     'failing.vbs', line 1"));
    EXPECT_THAT(RecoveredOnDisk(store), ElementsAre(true));
    EXPECT_THAT(RestoreAll().out, HasSubstr("nothing to restore"));
}

TEST_F(RestoreTest, ASavedCopyThatIsGoneIsMissing) {
    const CStoreEntry store = MakeStore(m_documents, L"store", {{L"gone.txt"}, {L"there.txt"}});
    std::filesystem::remove(store.directory + L"\\gone.txt");
    const CProgramResult result = RestoreAll();
    EXPECT_EQ(result.exitCode, 1u) << result.out;
    EXPECT_THAT(result.out, HasSubstr("missing    the saved copy is gone"));
    EXPECT_THAT(result.out, HasSubstr("done       1 of 2 documents restored"));
    EXPECT_THAT(result.out, HasSubstr("missing       " + ToUtf8(store.directory) + "\\gone.txt"));
    EXPECT_THAT(result.out, Not(HasSubstr("not restored  ")));
    EXPECT_THAT(Restored(), ElementsAre("there.txt"));
    EXPECT_THAT(RecoveredOnDisk(store), ElementsAre(false, true));
}

TEST_F(RestoreTest, WhatNoRecordNamesIsListedAndLeftAlone) {
    const CStoreEntry store = MakeStore(m_documents, L"store", {{L"a.txt"}});
    const CStoreEntry other = MakeStore(m_documents, L"other", {{L"b.txt", true}});
    const std::filesystem::path recordless = m_documents.Base() / L"recordless";
    std::filesystem::create_directories(recordless);
    const std::string files[] = {ToUtf8(other.directory + L"\\stray.txt"), ToUtf8(store.directory + L"\\by-itself.txt"),
                                 ToUtf8((recordless / L"file.txt").wstring())};
    for (const auto& file : files)
        std::ofstream(std::filesystem::path(FromUtf8(file))) << "text";

    const CProgramResult data = RunQuorline(L"restore --all --json --with " + Quoted(L"restore.js"));
    EXPECT_EQ(data.exitCode, 0u) << data.out << data.err;
    const auto answer = nlohmann::json::parse(data.out);
    EXPECT_EQ(answer["documents"].size(), 1u) << answer;
    EXPECT_THAT(answer["unrecorded"], UnorderedElementsAre(files[0], files[1], files[2]));
    EXPECT_EQ(answer["unreadable"],
              nlohmann::json::array({{{"store", "recordless"}, {"problem", "it has no info file"}}}));
    EXPECT_THAT(Restored(), ElementsAre("a.txt"));

    const CProgramResult words = RestoreAll();
    EXPECT_EQ(words.exitCode, 0u) << words.err;
    EXPECT_THAT(words.out, HasSubstr("nothing to restore\r\n"));
    for (const auto& file : files)
        EXPECT_THAT(words.out, HasSubstr("unrecorded    " + file + "\r\n"));
    EXPECT_THAT(RunQuorline(L"restore other --with " + Quoted(L"restore.js")).out,
                AllOf(HasSubstr("unrecorded    " + files[0]), Not(HasSubstr("by-itself")), Not(HasSubstr("file.txt"))));
    EXPECT_THAT(RunQuorline(L"restore a.txt --with " + Quoted(L"restore.js")).out, Not(HasSubstr("unrecorded")))
        << "who names a document asks for nothing else";
}

TEST_F(RestoreTest, WhatDoesNotLieInItsStoreReachesNoScript) {
    std::ofstream(std::filesystem::path(Path(L"outside.txt"))) << "text";
    const CStoreEntry store = MakeStore(m_documents, L"store",
                                        {{L"a.txt", false, L"C:\\windows\\notepad.exe"},
                                         {L"b.txt", false, Path(L"outside.txt")},
                                         {L"c.txt", false, L"\\\\server\\share\\c.txt"},
                                         {L"d.txt"}});
    const CProgramResult result = RestoreAll();
    EXPECT_EQ(result.exitCode, 1u) << result.out;
    EXPECT_THAT(result.out, HasSubstr("restoring  1 of 4: C:\\windows\\notepad.exe\r\n"
                                      "failed     the saved copy is left alone: it does not lie in the directory of "
                                      "its store"));
    EXPECT_THAT(result.out, HasSubstr("not restored  \\\\server\\share\\c.txt"));
    EXPECT_THAT(result.out, HasSubstr("done       1 of 4 documents restored"));
    EXPECT_THAT(Restored(), ElementsAre("d.txt"));
    EXPECT_FALSE(std::filesystem::exists(Path(L"outside.txt.restored")));
    EXPECT_THAT(RecoveredOnDisk(store), ElementsAre(false, false, false, true));
}

TEST_F(RestoreTest, APathCannotPrintLinesOfItsOwn) {
    MakeStore(m_documents, L"store", {{L"a.txt", false, L"C:\\a\ndone       5 of 5 documents restored\u202e"}});
    const CProgramResult result = RestoreAll();
    EXPECT_EQ(result.exitCode, 1u);
    EXPECT_THAT(result.out,
                HasSubstr("restoring  1 of 1: C:\\a\\u000Adone       5 of 5 documents restored\\u202E\r\n"));
    EXPECT_THAT(result.out, Not(HasSubstr("\ndone       5 of 5")));
    EXPECT_TRUE(nlohmann::json::accept(RunQuorline(L"history --json").out));
}

TEST_F(RestoreTest, ADocumentIsMarkedOnDiskBeforeItsScriptStartsSoThatAKillStartsNoneTwice) {
    const CStoreEntry store = MakeStore(m_documents, L"store", {{L"a.txt"}, {L"b.txt"}});
    PutSigned(
        L"hanging.js", "new ActiveXObject('Scripting.FileSystemObject').CreateTextFile('" + [&] {
            std::string path = ToUtf8(Path(L"hanging"));
            for (std::size_t i = 0; (i = path.find('\\', i)) != std::string::npos; i += 2)
                path.insert(i, 1, '\\');
            return path;
        }() + "').Close();\nfor (;;);\n");
    CProgram restore(QuorlineCommand(L"restore --all --with " + Quoted(L"hanging.js")));
    ASSERT_TRUE(WaitForFile(Path(L"hanging")));
    EXPECT_THAT(RecoveredOnDisk(store), ElementsAre(true, false));
    restore.Kill();
    EXPECT_THAT(RecoveredOnDisk(store), ElementsAre(true, false));
    EXPECT_EQ(RestoreAll().exitCode, 0u);
    EXPECT_THAT(Restored(), ElementsAre("b.txt"));
    EXPECT_EQ(RunQuorline(L"restore a.txt --with " + Quoted(L"restore.js")).exitCode, 0u) << "by its name it still is";
    EXPECT_THAT(Restored(), UnorderedElementsAre("a.txt", "b.txt"));
}

namespace {
// What is marked on disk each time that the signer asks for a certificate's chain.
std::vector<bool> g_markedAtCheck;
const CStoreEntry* g_checkedStore = nullptr;
BOOL WINAPI ObservedChain(HCERTCHAINENGINE engine, PCCERT_CONTEXT certificate, LPFILETIME time, HCERTSTORE store,
                          PCERT_CHAIN_PARA parameters, DWORD flags, LPVOID reserved, PCCERT_CHAIN_CONTEXT* chain) {
    g_markedAtCheck.push_back(RecoveredOnDisk(*g_checkedStore).front());
    return CertGetCertificateChain(engine, certificate, time, store, parameters, flags, reserved, chain);
}
} // namespace

TEST_F(RestoreTest, ADocumentIsMarkedAfterItsScriptsSignatureWasChecked) {
    const CStoreEntry store = MakeStore(m_documents, L"store", {{L"a.txt"}});
    g_checkedStore = &store;
    g_markedAtCheck.clear();
    {
        static const HMODULE signer = LoadLibraryW(L"QuorlineSigner.dll");
        ASSERT_NE(signer, nullptr);
        const CImportHook hook(signer, "CertGetCertificateChain", &ObservedChain);
        RestoreHere(store, L"restore.js");
    }
    ASSERT_FALSE(g_markedAtCheck.empty());
    EXPECT_FALSE(g_markedAtCheck.front()) << "a kill during the check would take the document off the offer";
    EXPECT_THAT(RecoveredOnDisk(store), ElementsAre(true));
}

TEST_F(RestoreTest, AStoreThatCannotBeMarkedRunsNoScript) {
    const CStoreEntry store = MakeStore(m_documents, L"store", {{L"a.txt"}});
    const CUniqueHandle reader(
        CreateFileW(store.InfoPath().c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    const CProgramResult result = RestoreAll();
    EXPECT_EQ(result.exitCode, 1u) << result.out;
    EXPECT_THAT(result.out, HasSubstr("failed     the info file of the store 'store' could not be written: "));
    EXPECT_THAT(Restored(), IsEmpty());
}

TEST_F(RestoreTest, UnrecoveredDocumentsAndTheirStoresComeFirst) {
    MakeStore(m_documents, L"1", {{L"a.txt", true}});
    MakeStore(m_documents, L"2", {{L"b.txt", true}, {L"c.txt"}, {L"d.txt", true}, {L"e.txt"}});
    MakeStore(m_documents, L"3", {{L"f.txt", true}});
    const auto history = nlohmann::json::parse(RunQuorline(L"history --json").out)["stores"];
    std::vector<std::string> order;
    for (const auto& store : history)
        for (const auto& document : store["documents"])
            order.push_back(document["name"]);
    EXPECT_THAT(order, ElementsAre("c.txt", "e.txt", "b.txt", "d.txt", "a.txt", "f.txt"));
    EXPECT_THAT(RunQuorline(L"history").out, HasSubstr("2 unrecovered documents in "));
    EXPECT_EQ(RestoreAll().exitCode, 0u);
    EXPECT_THAT(Restored(), UnorderedElementsAre("c.txt", "e.txt"));
}

TEST_F(RestoreTest, EachLineIsReadableOnThePipeBeforeTheCommandEnds) {
    MakeStore(m_documents, L"store", {{L"a.txt"}});
    // Holds the restore up until the test has read the line about it.
    PutSigned(L"waiting.vbs", "Set files = CreateObject(\"Scripting.FileSystemObject\")\n"
                              "start = Timer\n"
                              "Do Until files.FileExists(\"" +
                                  ToUtf8(Path(L"go")) +
                                  "\")\n"
                                  "  If Timer - start > 20 Then Err.Raise 1000, \"test\", \"nobody read the line\"\n"
                                  "Loop\n");
    CPipedProgram restore(QuorlineCommand(L"restore --all --with " + Quoted(L"waiting.vbs")));
    EXPECT_TRUE(restore.ReadUntil("restoring  1 of 1: "));
    Put(L"go", "");
    EXPECT_TRUE(restore.ReadUntil("done       1 of 1 documents restored"));
    EXPECT_EQ(restore.Wait(), 0u);
}

namespace {
// What the command and the library's file functions ask of the disk.
long long g_bytes = 0;
long long g_opens = 0;
// Past the imports, which are the ones that count.
template <class Function> Function* SystemFunction(const char* name) {
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), name)));
}
const auto SystemWriteFile = SystemFunction<decltype(WriteFile)>("WriteFile");
const auto SystemCreateFile = SystemFunction<decltype(CreateFileW)>("CreateFileW");
BOOL WINAPI CountedWriteFile(HANDLE file, const void* bytes, DWORD size, DWORD* written, OVERLAPPED* place) {
    g_bytes += size;
    return SystemWriteFile(file, bytes, size, written, place);
}
HANDLE WINAPI CountedCreateFile(LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                                DWORD disposition, DWORD flags, HANDLE sample) {
    ++g_opens;
    return SystemCreateFile(path, access, share, security, disposition, flags, sample);
}
} // namespace

TEST_F(RestoreTest, FourTimesTheDocumentsAskForFourTimesAsMuchOfTheDisk) {
    PutSigned(L"nothing.js", "var nothing;\n");
    const CImportHook hooks[] = {{GetModuleHandleW(nullptr), "WriteFile", &CountedWriteFile},
                                 {GetModuleHandleW(nullptr), "CreateFileW", &CountedCreateFile},
                                 {GetModuleHandleW(L"Quorline.dll"), "CreateFileW", &CountedCreateFile},
                                 {GetModuleHandleW(L"msvcrt.dll"), "WriteFile", &CountedWriteFile},
                                 {GetModuleHandleW(L"msvcrt.dll"), "CreateFileW", &CountedCreateFile}};
    const auto restore = [&](int count) {
        std::vector<CStoredDocument> documents;
        for (int i = 0; i < count; ++i)
            documents.push_back({std::to_wstring(i) + L".txt"});
        const CStoreEntry store = MakeStore(m_documents, std::to_wstring(count), documents);
        g_bytes = 0;
        g_opens = 0;
        RestoreHere(store, L"nothing.js");
        const std::pair counts(g_bytes, g_opens);
        EXPECT_THAT(RecoveredOnDisk(store), testing::Each(true));
        std::filesystem::remove_all(store.directory);
        return counts;
    };
    const auto [fewBytes, fewOpens] = restore(60);
    const auto [manyBytes, manyOpens] = restore(240);
    EXPECT_GT(fewBytes, 60 * 300) << "a record takes that much: the writing was not seen";
    EXPECT_LT(manyBytes, 5 * fewBytes);
    EXPECT_GT(fewOpens, 60);
    EXPECT_LT(manyOpens, 5 * fewOpens);
}
