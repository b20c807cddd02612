// A store whose record is held by another process, whose folder goes, or whose paths grow too long. Proves
// InternalDocumentStore.

#include "ChildTest.h"
#include "DiskFixture.h"
#include "ScriptExecution/DocumentStoreHistory.h"

#include <shlobj.h>

using testing::ElementsAre;

namespace {
constexpr wchar_t HeldVariable[] = L"QUORLINE_TEST_HELD_PATH";
constexpr wchar_t HeldEvent[] = L"QuorlineTestRecordHeld";
constexpr wchar_t NextEvent[] = L"QuorlineTestHoldNext";
constexpr DWORD Bound = 60000;

struct CHold {
    DWORD access;
    DWORD share;
};

/// Every way to hold a file open.
std::vector<CHold> Holds() {
    std::vector<CHold> holds;
    for (const DWORD access : std::initializer_list<DWORD>{GENERIC_READ, GENERIC_WRITE, GENERIC_READ | GENERIC_WRITE})
        for (DWORD share = 0; share <= (FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE); ++share)
            holds.push_back({access, share});
    return holds;
}

std::string HoldRow(const CHold& hold) {
    std::string row = "info.xml held, read or written, shared for";
    for (const auto& [flag, name] : {std::pair(FILE_SHARE_READ, " reading"), std::pair(FILE_SHARE_WRITE, " writing"),
                                     std::pair(FILE_SHARE_DELETE, " deleting")})
        if ((hold.share & static_cast<DWORD>(flag)) != 0)
            row += name;
    return hold.share == 0 ? row + " nothing" : row;
}

std::wstring g_directory;
int g_calls = 0;
int g_removingCall = 0;

/// Takes the store's folder away, with all in it, behind the call that was asked for.
void RemoveAfterCall() {
    std::error_code ignored;
    if (++g_calls == g_removingCall)
        fs::remove_all(g_directory, ignored);
}
template <class Function> Function* Real(Function*, const wchar_t* module, const char* name) {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(module), name)));
}
int WINAPI CreateThenRemove(HWND window, const wchar_t* path, const SECURITY_ATTRIBUTES* security) {
    static const auto create = Real(&SHCreateDirectoryExW, L"shell32.dll", "SHCreateDirectoryExW");
    const int result = create(window, path, security);
    RemoveAfterCall();
    return result;
}
BOOL WINAPI DeleteThenRemove(const wchar_t* path) {
    static const auto remove = Real(&DeleteFileW, L"kernel32.dll", "DeleteFileW");
    const BOOL result = remove(path);
    RemoveAfterCall();
    return result;
}
BOOL WINAPI RemoveThenMove(const wchar_t* from, const wchar_t* to, DWORD flags) {
    static const auto move = Real(&MoveFileExW, L"kernel32.dll", "MoveFileExW");
    RemoveAfterCall();
    return move(from, to, flags);
}
} // namespace

// Run as a process of its own by the test below: holds the record in each way for as long as it is told.
TEST(HolderChild, DISABLED_HoldsTheRecordInEachWay) {
    const CUniqueHandle held(OpenEventW(EVENT_MODIFY_STATE, FALSE, HeldEvent));
    const CUniqueHandle next(OpenEventW(SYNCHRONIZE, FALSE, NextEvent));
    for (const CHold& hold : Holds()) {
        const CUniqueHandle file(
            CreateFileW(Variable(HeldVariable).c_str(), hold.access, hold.share, nullptr, OPEN_EXISTING, 0, nullptr));
        ASSERT_TRUE(file);
        SetEvent(held.Get());
        ASSERT_EQ(WaitForSingleObject(next.Get(), Bound), WAIT_OBJECT_0);
    }
    SetEvent(held.Get()); // and now nothing is held
    WaitForSingleObject(next.Get(), Bound);
}

TEST_F(DiskTest, ARecordHeldByAnotherProcessIsWrittenWhereThatIsAllowedAndElseStaysWhole) {
    CInternalDocumentStore store;
    Reserve(store, L"first");
    SetEnvironmentVariableW(HeldVariable, InfoPath(store).c_str());
    const CUniqueHandle held(CreateEventW(nullptr, FALSE, FALSE, HeldEvent));
    const CUniqueHandle next(CreateEventW(nullptr, FALSE, FALSE, NextEvent));
    const CChildTest holder(L"HolderChild.*");
    int number = 0;
    for (const CHold& hold : Holds()) {
        ASSERT_EQ(WaitForSingleObject(held.Get(), Bound), WAIT_OBJECT_0);
        // Where the holder does not share reading, nothing can be read back to compare: the next round shows it.
        const bool readable = (hold.share & FILE_SHARE_READ) != 0;
        const bool writable = (hold.share & FILE_SHARE_WRITE) != 0;
        const std::wstring name = L"document " + std::to_wstring(++number);
        if (readable) {
            EXPECT_EQ(Attempt(store, name, HoldRow(hold)) == S_OK, writable) << HoldRow(hold);
        } else {
            std::wstring path;
            const HRESULT hr = store.GetNewDocumentPath(name.c_str(), nullptr, L"", path);
            COutcomeTable::Get().Count(HoldRow(hold), hr);
            EXPECT_EQ(hr == S_OK, writable) << HoldRow(hold);
            EXPECT_EQ(hr == S_OK || hr == HRESULT_FROM_WIN32(EACCES), true) << hr;
        }
        log.Clear();
        auto& history = CDocumentStoreHistory::GetInstance();
        EXPECT_NO_THROW(history.Refresh());
        EXPECT_EQ(history.GetSavedDocumentInfos().size(), readable ? 1u : 0u) << HoldRow(hold);
        EXPECT_EQ(log.HasPrefix(L"DEBUG ScriptExecution.DocumentStoreHistory: Could not open file '"), !readable);
        SetEvent(next.Get());
    }
    ASSERT_EQ(WaitForSingleObject(held.Get(), Bound), WAIT_OBJECT_0);
    EXPECT_EQ(Attempt(store, L"last", "info.xml released"), S_OK);
    EXPECT_EQ(NamesOnDisk(store).size(), Holds().size() + 2);
    EXPECT_THAT(Files(store), ElementsAre(L"info.xml"));
    SetEvent(next.Get());
}

TEST_F(DiskTest, AFolderThatGoesDuringAReservationIsMadeAgainByTheNextOne) {
    CInternalDocumentStore store;
    g_directory = Directory(store);
    int completed = 0;
    // The folder is made twice, a probe deleted once, and the record moved once; the fifth call never comes.
    for (g_removingCall = 1; g_removingCall <= 5; ++g_removingCall) {
        ASSERT_EQ(Attempt(store, L"earlier " + std::to_wstring(g_removingCall), "the folder is there"), S_OK);
        std::wstring path = L"old";
        HRESULT hr = S_OK;
        {
            const CImportHook create(GetModuleHandleW(nullptr), "SHCreateDirectoryExW", &CreateThenRemove);
            const CImportHook remove(GetModuleHandleW(nullptr), "DeleteFileW", &DeleteThenRemove);
            const CImportHook move(GetModuleHandleW(nullptr), "MoveFileExW", &RemoveThenMove);
            g_calls = 0;
            log.Clear();
            hr = store.GetNewDocumentPath((L"during " + std::to_wstring(g_removingCall)).c_str(), nullptr, L"", path);
        }
        COutcomeTable::Get().Count("the folder goes during the reservation", hr);
        if (hr == S_OK) {
            EXPECT_EQ(NamesOnDisk(store), Names(store)) << g_removingCall;
            ++completed;
        } else {
            EXPECT_TRUE(FAILED(hr));
            EXPECT_TRUE(path == L"old" ? !store.GetNameRefusal().empty() : !log.At(L"ERROR").empty()) << g_removingCall;
        }
        EXPECT_EQ(Attempt(store, L"later " + std::to_wstring(g_removingCall), "the folder has gone"), S_OK);
    }
    EXPECT_LT(completed, 5);
    EXPECT_GE(completed, 2); // after the probe was deleted it is made again, and the fifth time it stays
}

TEST_F(DiskTest, AFileInTheFoldersPlaceIsNotMistakenForIt) {
    CInternalDocumentStore store;
    WriteBytes(Directory(store), "mine");
    std::wstring path;
    const HRESULT hr = store.GetNewDocumentPath(L"a", nullptr, L"", path);
    COutcomeTable::Get().Count("a file in the folder's place", hr);
    EXPECT_TRUE(FAILED(hr));
    EXPECT_TRUE(FAILED(store.WriteInfoFile()));
    EXPECT_EQ(ReadBytes(Directory(store)), "mine");
}

TEST_F(DiskTest, PathsOfEveryLengthAreUsableOrRefused) {
    const std::size_t step = IsSoak() ? 1 : 12;
    const std::size_t start = Documents().size();
    int reserved = 0;
    int refused = 0;
    for (std::size_t length = start + 2; length < 320; length += step) {
        // Parts of a folder's name may not be longer than a name.
        std::wstring documents = Documents();
        while (documents.size() < length)
            documents +=
                L"\\" +
                std::wstring(std::min<std::size_t>(200, std::max<std::size_t>(length - documents.size(), 2) - 1), L'd');
        // A folder that is missing would be made as a link to the home folder, which then led into itself.
        fs::create_directories(L"\\\\?\\" + documents);
        folder.Point(documents);
        std::optional<CInternalDocumentStore> store(std::in_place);
        for (const std::size_t name : {1u, 60u, 200u}) {
            std::wstring path;
            const std::string row =
                "a path of " + std::to_string(length / 40 * 40) + " characters and more before the store";
            if (Attempt(*store, std::wstring(name, L'n'), row, &path) != S_OK) {
                ++refused;
                continue;
            }
            ++reserved;
            // What was handed out can be saved to, and is found again unless it is too long to be looked up.
            WriteBytes(path, "text");
            EXPECT_EQ(ReadBytes(path), "text");
            CScriptDocument document;
            document.values["TempPath"] = path;
            CInternalSavedDocument* found = nullptr;
            const HRESULT hr = store->FindDocument(&document, &found);
            EXPECT_EQ(hr, path.size() < MAX_PATH ? S_OK : HRESULT_FROM_WIN32(ERROR_FILENAME_EXCED_RANGE)) << path;
        }
        EXPECT_NO_THROW(CDocumentStoreHistory::GetInstance().Refresh());
    }
    EXPECT_GT(reserved, 0);
    EXPECT_GT(refused, 0);
    folder.Point(Documents());
}
