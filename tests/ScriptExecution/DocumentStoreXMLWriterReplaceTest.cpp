// How a new record takes the old one's place, and what is left when that goes wrong. Proves DocumentStoreXMLWriter.

#include "WriterFixture.h"

#include "ChildTest.h"
#include "ImportHook.h"
#include "StartProcess.h"
#include "Tally.h"

#include <random>
#include <set>

using testing::ElementsAre;

namespace {
constexpr wchar_t PathVariable[] = L"QUORLINE_TEST_INFO_PATH";
constexpr wchar_t WritingEvent[] = L"QuorlineTestWriterWrites";
constexpr int RecordSizes = 40;

HMODULE Program() {
    return GetModuleHandleW(nullptr);
}
HMODULE Runtime() {
    return GetModuleHandleW(L"msvcrt.dll");
}

class WriterReplaceTest : public WriterTest {
protected:
    WriterReplaceTest() { Current() = this; }
    ~WriterReplaceTest() override { Current() = nullptr; }

    static WriterReplaceTest*& Current() {
        static WriterReplaceTest* current = nullptr;
        return current;
    }

    std::vector<std::wstring> Files() const {
        std::vector<std::wstring> names;
        for (const auto& entry : fs::directory_iterator(folder.Path()))
            names.push_back(entry.path().filename().wstring());
        std::sort(names.begin(), names.end());
        return names;
    }

    /// A record of the store as it is, and then of one with more documents than before.
    std::string WriteAndGrow() {
        Add(L"first");
        const std::string old = Write(nullptr);
        for (int i = 0; i < 20; ++i)
            Add(L"later");
        return old;
    }

    fs::path Sibling() const { return path.wstring() + L".new"; }

public:
    int calls = 0;
    int failingCall = 1;
    DWORD portion = 0; ///< bytes that the failing call still writes
    std::vector<std::string> atFlush;
    std::vector<std::string> atMove;
    DWORD moveFlags = 0;

    static BOOL WINAPI DiskFillsUp(HANDLE file, const void* data, DWORD size, DWORD* written, OVERLAPPED* overlapped) {
        WriterReplaceTest& test = *Current();
        if (++test.calls != test.failingCall)
            return WriteFile(file, data, size, written, overlapped);
        *written = 0;
        if (test.portion > 0)
            return WriteFile(file, data, test.portion, written, overlapped);
        SetLastError(ERROR_DISK_FULL);
        return FALSE;
    }
    static BOOL WINAPI NoFlush(HANDLE) {
        SetLastError(ERROR_DISK_FULL);
        return FALSE;
    }
    static BOOL WINAPI WatchedFlush(HANDLE file) {
        Current()->atFlush.push_back(ReadBytes(Current()->Sibling()));
        return FlushFileBuffers(file);
    }
    static BOOL WINAPI WatchedMove(const wchar_t* from, const wchar_t* to, DWORD flags) {
        Current()->atMove = {ReadBytes(from), ReadBytes(to)};
        Current()->moveFlags = flags;
        // Not by its name, which leads back here.
        static const auto move = reinterpret_cast<decltype(&MoveFileExW)>(
            reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "MoveFileExW")));
        return move(from, to, flags);
    }
};
} // namespace

TEST_F(WriterReplaceTest, TheNewRecordIsWholeAndFlushedBeforeItTakesTheOldOnesPlace) {
    const std::string old = WriteAndGrow();
    const CImportHook flush(Runtime(), "FlushFileBuffers", &WriterReplaceTest::WatchedFlush);
    const CImportHook move(Program(), "MoveFileExW", &WriterReplaceTest::WatchedMove);
    const std::string fresh = Write(nullptr);
    EXPECT_NE(fresh, old);
    EXPECT_THAT(atFlush, ElementsAre(fresh));
    EXPECT_THAT(atMove, ElementsAre(fresh, old));
    EXPECT_EQ(moveFlags, DWORD(MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH));
    EXPECT_THAT(Files(), ElementsAre(L"info.xml"));
}

TEST_F(WriterReplaceTest, AFullDiskLeavesTheOldRecordWhole) {
    const std::string old = WriteAndGrow();
    for (const DWORD written : {0u, 1u, 1000u}) {
        calls = 0;
        portion = written;
        const CImportHook hook(Runtime(), "WriteFile", &WriterReplaceTest::DiskFillsUp);
        EXPECT_EQ(Thrown<COSException>([&] { Write(nullptr); }).GetErrorCode(), DWORD(ENOSPC));
        EXPECT_EQ(calls, 1);
        EXPECT_EQ(ReadBytes(path), old);
        EXPECT_THAT(Files(), ElementsAre(L"info.xml"));
    }
    EXPECT_TRUE(log.HasPrefix(L"ERROR TalvinorGlobal: Call to _write failed with \""));
}

TEST_F(WriterReplaceTest, AFlushThatFailsLeavesTheOldRecordWhole) {
    const std::string old = WriteAndGrow();
    const CImportHook hook(Runtime(), "FlushFileBuffers", &WriterReplaceTest::NoFlush);
    EXPECT_EQ(Thrown<COSException>([&] { Write(nullptr); }).GetErrorCode(), DWORD(ENOSPC));
    EXPECT_EQ(ReadBytes(path), old);
    EXPECT_THAT(Files(), ElementsAre(L"info.xml"));
    EXPECT_TRUE(log.HasPrefix(L"ERROR TalvinorGlobal: Call to _commit failed with \""));
}

TEST_F(WriterReplaceTest, WhatAnEndedProcessLeftBesideTheFileIsCleared) {
    WriteBytes(Sibling(), std::string(100000, 'x'));
    const std::string file = Write(nullptr);
    EXPECT_TRUE(file.ends_with("</DocStore>\r\n"));
    EXPECT_THAT(Files(), ElementsAre(L"info.xml"));

    // Also when the file cannot be replaced.
    WriteBytes(Sibling(), "x");
    const CUniqueHandle held(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                         OPEN_EXISTING, 0, nullptr));
    EXPECT_EQ(Write(nullptr), file);
    EXPECT_THAT(Files(), ElementsAre(L"info.xml"));
}

TEST_F(WriterReplaceTest, AnUnwritableRecordReplacesTheFileUpToItsFailure) {
    Write(nullptr);
    const CImportHook move(Program(), "MoveFileExW", &WriterReplaceTest::WatchedMove);
    change.SetStateChangeType(Standby);
    Thrown<CMorvaneException>([&] { Write(&change); });
    EXPECT_TRUE(ReadBytes(path).ends_with("\t\t\t<Type>\r\n"));
    EXPECT_EQ(atMove.size(), 2u);
    EXPECT_THAT(Files(), ElementsAre(L"info.xml"));
}

TEST_F(WriterReplaceTest, AFileThatIsHeldIsWrittenInPlaceWhereItsHolderAllowsWriting) {
    for (DWORD share = 0; share <= (FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE); ++share) {
        store.GetSavedDocumentList()->clear();
        fs::remove(path);
        const std::string old = WriteAndGrow();
        {
            const CUniqueHandle held(
                CreateFileW(path.c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING, 0, nullptr));
            ASSERT_TRUE(held);
            CDocumentStoreXMLWriter writer(path.wstring());
            CDocumentStoreInfo info(nullptr, &store);
            if ((share & FILE_SHARE_WRITE) != 0)
                EXPECT_NO_THROW(writer.WriteDocumentStore(info)) << share;
            else
                EXPECT_EQ(Thrown<COSException>([&] { writer.WriteDocumentStore(info); }).GetErrorCode(), DWORD(EACCES))
                    << share;
        }
        const std::string left = ReadBytes(path);
        EXPECT_THAT(Files(), ElementsAre(L"info.xml")) << share;
        if ((share & FILE_SHARE_WRITE) != 0)
            EXPECT_EQ(left, Write(nullptr)) << share;
        else
            EXPECT_EQ(left, old) << share;
    }
    EXPECT_EQ(log.At(L"ERROR").size(), 4u);
    EXPECT_TRUE(log.HasPrefix(L"ERROR TalvinorGlobal: Call to _tfopen_s failed with \"Permission denied\" (13); "));
}

TEST_F(WriterReplaceTest, AShorterRecordWrittenInPlaceLeavesNoRestOfTheOldOne) {
    WriteAndGrow();
    const std::string old = Write(nullptr);
    store.GetSavedDocumentList()->clear();
    const CUniqueHandle held(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                         OPEN_EXISTING, 0, nullptr));
    const std::string fresh = Write(nullptr);
    EXPECT_LT(fresh.size(), old.size());
    EXPECT_TRUE(fresh.ends_with("\t\r\n</DocStore>\r\n"));
    EXPECT_EQ(fresh.find("<Doc>"), std::string::npos);
}

TEST_F(WriterReplaceTest, AFullDiskLeavesAHeldFilesRecordWhole) {
    const std::string old = WriteAndGrow();
    const CUniqueHandle held(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                         OPEN_EXISTING, 0, nullptr));
    // The first call writes the sibling, the second one what goes beyond the old end, the third one the rest.
    const std::pair<int, DWORD> rows[] = {{2, 0}, {2, 100}, {3, 0}};
    for (const auto& [call, written] : rows) {
        calls = 0;
        failingCall = call;
        portion = written;
        const CImportHook hook(Runtime(), "WriteFile", &WriterReplaceTest::DiskFillsUp);
        EXPECT_EQ(Thrown<COSException>([&] { Write(nullptr); }).GetErrorCode(), DWORD(ENOSPC));
        EXPECT_EQ(calls, call);
        EXPECT_EQ(ReadBytes(path), old);
    }
}

TEST_F(WriterReplaceTest, AFolderThatTakesNoSiblingHasTheFileWrittenInPlace) {
    fs::create_directories(Sibling());
    const std::string old = WriteAndGrow();
    const std::string fresh = Write(nullptr);
    EXPECT_GT(fresh.size(), old.size());
    EXPECT_TRUE(fresh.ends_with("</DocStore>\r\n"));
}

TEST_F(WriterReplaceTest, AFileThatIsMarkedReadOnlyKeepsItsMark) {
    const std::string old = WriteAndGrow();
    ASSERT_TRUE(SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY));
    // Whether such a file can still be written to is the system's affair: an administrator's Wine lets it.
    try {
        EXPECT_TRUE(Write(nullptr).ends_with("</DocStore>\r\n"));
    } catch (const COSException& failure) {
        EXPECT_EQ(failure.GetErrorCode(), DWORD(EACCES));
        EXPECT_EQ(ReadBytes(path), old);
    }
    EXPECT_NE(GetFileAttributesW(path.c_str()) & FILE_ATTRIBUTE_READONLY, 0u);
    EXPECT_TRUE(SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL));
}

namespace {
/// Store i has i documents, so that each has a record of its own size.
std::unique_ptr<CInternalDocumentStore> NumberedStore(int documents) {
    auto store = std::make_unique<CInternalDocumentStore>(StoreId);
    for (int i = 0; i < documents; ++i)
        store->GetSavedDocumentList()->emplace_back(std::make_unique<CInternalSavedDocument>())->SetDocName(L"name");
    return store;
}

void WriteNumbered(const std::wstring& path, CInternalDocumentStore& store) {
    CDocumentStoreXMLWriter writer(path);
    CDocumentStoreInfo info(nullptr, &store);
    writer.WriteDocumentStore(info);
}
} // namespace

// Run as a process of its own by the test below, and ended by it.
TEST(WriterChild, DISABLED_RewritesTheRecordUntilItIsEnded) {
    CCultureHelper::InitInstance(nullptr, nullptr);
    wchar_t path[MAX_PATH];
    ASSERT_NE(GetEnvironmentVariableW(PathVariable, path, MAX_PATH), 0u);
    const CUniqueHandle writing(OpenEventW(EVENT_MODIFY_STATE, FALSE, WritingEvent));
    for (int i = 0;; ++i) {
        WriteNumbered(path, *NumberedStore(i * 7 % RecordSizes));
        SetEvent(writing.Get());
    }
}

TEST_F(WriterReplaceTest, AKillAtAnyMomentLeavesOneWholeRecord) {
    std::set<std::string> records;
    for (int i = 0; i < RecordSizes; ++i) {
        WriteNumbered(path.wstring(), *NumberedStore(i));
        records.insert(ReadBytes(path));
    }
    ASSERT_EQ(records.size(), static_cast<std::size_t>(RecordSizes));

    SetEnvironmentVariableW(PathVariable, path.c_str());
    const CUniqueHandle writing(CreateEventW(nullptr, FALSE, FALSE, WritingEvent));
    const unsigned kills = GetEnvironmentVariableW(L"DOCUMENTS_SOAK", nullptr, 0) != 0 ? 1000 : 20;
    const unsigned seed = std::random_device()();
    std::mt19937 random(seed);
    unsigned leftovers = 0;
    for (unsigned round = 0; round < kills; ++round) {
        CChildTest child(L"WriterChild.*");
        for (unsigned writes = 1 + random() % 20; writes > 0; --writes)
            ASSERT_EQ(WaitForSingleObject(writing.Get(), 60000), WAIT_OBJECT_0);
        LARGE_INTEGER until{};
        QueryPerformanceCounter(&until);
        until.QuadPart += random() % 40000; // 0 to 4 ms
        for (LARGE_INTEGER now{}; now.QuadPart < until.QuadPart;)
            QueryPerformanceCounter(&now);
        child.Kill();
        ResetEvent(writing.Get());
        ASSERT_TRUE(records.contains(ReadBytes(path))) << "seed " << seed << ", round " << round;
        leftovers += fs::exists(Sibling());
    }
    WriteNumbered(path.wstring(), *NumberedStore(1));
    EXPECT_THAT(Files(), ElementsAre(L"info.xml"));
    PrintTally("writers of a record killed", kills);
    std::printf("%u kills, %u of them before the new record had taken its place, 0 broken records\n", kills, leftovers);
}
