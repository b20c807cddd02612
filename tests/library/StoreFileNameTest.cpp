// Which names lead to a file, and when looking for one ends. Proves StoreFileName, and InternalDocumentStore's use of
// it.

#include "StoreFileName.h"

#include "StoreFixture.h"
#include "base/PathHelper.h"
#include "logging/Logging.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {
int g_probes = 0;
/// What the next probes meet, as errors; 0 is the real call, and so is every one after the last.
std::vector<DWORD> g_answers;
/// How looking for an entry fails; 0 is the real call.
DWORD g_lookUp = 0;

template <class Function> Function* Real(Function*, const char* name) {
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), name)));
}

/// Fails as g_answers says; the last answer stays.
HANDLE WINAPI FailingCreate(const wchar_t* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                            DWORD creation, DWORD flags, HANDLE pattern) {
    if (creation == CREATE_NEW) {
        const auto probe = static_cast<std::size_t>(g_probes++);
        if (g_probes > 1000)
            throw std::runtime_error("the search for a name has no end");
        const DWORD answer = g_answers.empty() ? 0 : g_answers[std::min(probe, g_answers.size() - 1)];
        if (answer != 0) {
            SetLastError(answer);
            return INVALID_HANDLE_VALUE;
        }
    }
    static const auto create = Real(&CreateFileW, "CreateFileW");
    return create(path, access, share, security, creation, flags, pattern);
}

HANDLE WINAPI FailingFind(const wchar_t* path, WIN32_FIND_DATAW* entry) {
    if (g_lookUp != 0) {
        SetLastError(g_lookUp);
        return INVALID_HANDLE_VALUE;
    }
    static const auto find = Real(&FindFirstFileW, "FindFirstFileW");
    return find(path, entry);
}

class FileNameTest : public StoreTest {
protected:
    FileNameTest() {
        g_probes = 0;
        g_answers.clear();
        g_lookUp = 0;
    }

    /// A reservation that finds no name, and leaves nothing; the reason that it gives.
    std::wstring Refusal(const wchar_t* name, const std::wstring& extension = L"") {
        CInternalDocumentStore store;
        std::wstring path = L"old";
        g_probes = 0;
        EXPECT_EQ(store.GetNewDocumentPath(name, nullptr, extension, path), E_FAIL) << name;
        EXPECT_EQ(path, L"old");
        EXPECT_THAT(*store.GetSavedDocumentList(), IsEmpty());
        EXPECT_THAT(Files(store), IsEmpty());
        EXPECT_LE(g_probes, 3) << name;
        return store.GetNameRefusal();
    }

    CImportHook create{GetModuleHandleW(nullptr), "CreateFileW", &FailingCreate};
    CImportHook find{GetModuleHandleW(nullptr), "FindFirstFileW", &FailingFind};
};

std::wstring Because(const std::wstring& name, const std::wstring& reason) {
    return L"The document name \"" + name + L"\" cannot be a file name: " + reason + L".";
}
} // namespace

TEST_F(FileNameTest, ANameThatLeadsOutOfTheStoreIsRefusedWithoutAProbe) {
    const struct {
        std::wstring name;
        std::wstring extension;
        std::wstring refusal;
    } rows[] = {
        {L"..\\..\\x", L".doc", Because(L"..\\..\\x.doc", L"it contains \"\\\"")},
        {L"../x", L"", Because(L"../x", L"it contains \"/\"")},
        {L"sub\\x.doc", L"", Because(L"sub\\x.doc", L"it contains \"\\\"")},
        {L"a:b", L"", Because(L"a:b", L"it contains \":\"")},
        {L"C:", L"txt", Because(L"C:.txt", L"it contains \":\"")},
        {L"x", L"\\..\\..\\y", Because(L"x.\\..\\..\\y", L"it contains \"\\\"")},
        {L"x", L"a/b", Because(L"x.a/b", L"it contains \"/\"")},
        {L"x", L"txt:s", Because(L"x.txt:s", L"it contains \":\"")},
        {L"a\nb", L"", Because(L"a b", L"it contains the control character U+000A")},
        {L"a\tb", L"", Because(L"a b", L"it contains the control character U+0009")},
        {L"\x1", L"", Because(L" ", L"it contains the control character U+0001")},
        {L"a\x1f", L"", Because(L"a ", L"it contains the control character U+001F")},
        {L"a\x7f", L"", Because(L"a ", L"it contains the control character U+007F")},
        {L"a\x85", L"", Because(L"a ", L"it contains the control character U+0085")},
        {L"a", std::wstring(L"x\0y", 3), Because(L"a.x y", L"it contains the control character U+0000")},
        {std::wstring(200, L'n') + L"/", L"", Because(std::wstring(100, L'n') + L"...", L"it contains \"/\"")},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Refusal(row.name.c_str(), row.extension), row.refusal);
        EXPECT_EQ(g_probes, 0) << row.name;
    }
    EXPECT_THAT(log.At(L"ERROR"), IsEmpty());
    std::vector<std::wstring> besides;
    for (const auto& entry : fs::directory_iterator(folder.Base()))
        besides.push_back(entry.path().filename().wstring());
    EXPECT_EQ(besides.size(), 1u);
}

TEST_F(FileNameTest, NamesThatOnlyLookOddAreTaken) {
    for (const wchar_t* name :
         {L"x ", L"a b", L"\u00a0", L"x\u2028y", L"\uff0f", L"'#$%&(){}[]+,;=@!~`^-_.txt", L"a..b"}) {
        CInternalDocumentStore store;
        EXPECT_EQ(Reserve(store, name), name);
        EXPECT_EQ(store.GetNameRefusal(), L"");
        fs::remove_all(Directory(store));
    }
}

TEST_F(FileNameTest, DotsAloneStayInTheStore) {
    for (const wchar_t* name : {L".", L"..", L"..."}) {
        CInternalDocumentStore store;
        const std::wstring reserved = Reserve(store, name);
        EXPECT_EQ(fs::path(FullPath(Directory(store) + L"\\" + reserved)).parent_path(), Directory(store)) << reserved;
        fs::remove_all(Directory(store));
    }
}

TEST_F(FileNameTest, ANameThatTheSystemRefusesIsExplained) {
    const std::wstring lone = L"a\xD83D";
    const std::pair<std::wstring, std::wstring> rows[] = {
        {L"what?.doc", Because(L"what?.doc", L"it contains \"?\"")},
        {L"*Untitled - Notepad", Because(L"*Untitled - Notepad", L"it contains \"*\"")},
        {L"a<b", Because(L"a<b", L"it contains \"<\"")},
        {L"a>b", Because(L"a>b", L"it contains \">\"")},
        {L"a|b", Because(L"a|b", L"it contains \"|\"")},
        {L"say \"a\"", Because(L"say \"a\"", L"it contains \"\"\"")},
        {L"NUL", Because(L"NUL", L"the system keeps \"NUL\" for a device")},
        {L"nul.b.txt", Because(L"nul.b.txt", L"the system keeps \"nul\" for a device")},
        {L"AUX.b.txt", Because(L"AUX.b.txt", L"the system keeps \"AUX\" for a device")},
        {L"com1.b.txt", Because(L"com1.b.txt", L"the system keeps \"com1\" for a device")},
        {L"LPT9.b.txt", Because(L"LPT9.b.txt", L"the system keeps \"LPT9\" for a device")},
        {L"a\xD83D"
         L"b",
         Because(L"a\xD83D"
                 L"b",
                 L"it contains half a character, U+D83D")},
        {lone, Because(lone, L"it contains half a character, U+D83D")},
        {L"\xDE00 a", Because(L"\xDE00 a", L"it contains half a character, U+DE00")},
    };
    for (const auto& [name, refusal] : rows)
        EXPECT_EQ(Refusal(name.c_str()), refusal);
}

TEST_F(FileNameTest, TheReasonOfARefusalIsNotToldAgainOfALaterFailure) {
    CInternalDocumentStore store;
    std::wstring path;
    EXPECT_EQ(store.GetNewDocumentPath(L"a/b", nullptr, L"", path), E_FAIL);
    EXPECT_EQ(store.GetNameRefusal(), Because(L"a/b", L"it contains \"/\""));
    fs::remove_all(folder.Base());
    WriteBytes(folder.Base(), "in the way");
    EXPECT_TRUE(FAILED(store.GetNewDocumentPath(L"a", nullptr, L"", path)));
    EXPECT_EQ(store.GetNameRefusal(), L"");
}

TEST_F(FileNameTest, ANameThatIsTooLongIsRefusedHoweverTheDiskCountsIt) {
    // 255 characters, or 255 bytes of UTF-8 where the disk keeps names so. Such a disk may also cut a name, and then
    // two documents would share one file.
    const std::wstring rows[] = {
        std::wstring(256, L'x'),
        std::wstring(300, L'x') + L".doc",
        std::wstring(5000, L'x'),
        std::wstring(86, L'\u65e5'),
        std::wstring(85, L'\u65e5') + L"x",
        L"x" + std::wstring(85, L'\u65e5'),
        std::wstring(85, L'\u65e5') + L".doc",
    };
    for (const std::wstring& name : rows)
        EXPECT_EQ(Refusal(name.c_str()),
                  Because(name.size() > 100 ? name.substr(0, 100) + L"..." : name, L"it is too long"));
}

TEST_F(FileNameTest, ANameThatIsCutToAnotherFilesNameIsTooLongAndNotTaken) {
    CInternalDocumentStore store;
    const std::wstring name(85, L'\u65e5');
    WriteBytes(Directory(store) + L"\\" + name, "mine");
    std::wstring path;
    EXPECT_EQ(store.GetNewDocumentPath((name + L"\u672c").c_str(), nullptr, L"", path), E_FAIL);
    EXPECT_LE(g_probes, 3);
    EXPECT_EQ(store.GetNameRefusal(), Because(name + L"\u672c", L"it is too long"));
    EXPECT_EQ(ReadBytes(Directory(store) + L"\\" + name), "mine");
}

TEST_F(FileNameTest, TheLongestNamesAreTakenOnceAndLeaveNoRoomForACounter) {
    for (const std::wstring& name : {std::wstring(255, L'x'), std::wstring(85, L'\u65e5'),
                                     L"xyz" + std::wstring(84, L'\u65e5'), std::wstring(253, L'x')}) {
        CInternalDocumentStore store;
        EXPECT_EQ(Reserve(store, name.c_str()), name);
        EXPECT_EQ(store.GetNameRefusal(), L"");
        std::wstring path;
        g_probes = 0;
        EXPECT_EQ(store.GetNewDocumentPath(name.c_str(), nullptr, L"", path), E_FAIL);
        EXPECT_LE(g_probes, 2);
        EXPECT_EQ(store.GetSavedDocumentList()->size(), 1u);
        EXPECT_EQ(store.GetNameRefusal(),
                  Because(name.size() > 100 ? name.substr(0, 100) + L"..." : name, L"it is too long"));
        fs::remove_all(Directory(store));
    }
}

TEST_F(FileNameTest, ACounterMayGrowPastTheLongestName) {
    const std::wstring name(252, L'x'); // "(9)" fits, "(10)" does not
    CInternalDocumentStore store;
    for (int i = 0; i < 10; ++i)
        Reserve(store, name.c_str());
    std::wstring path;
    g_probes = 0;
    EXPECT_EQ(store.GetNewDocumentPath(name.c_str(), nullptr, L"", path), E_FAIL);
    EXPECT_LE(g_probes, 2);
}

TEST_F(FileNameTest, ADirectoryThatTakesNoFileEndsTheSearchAtOnce) {
    for (const DWORD error : {ERROR_DISK_FULL, ERROR_HANDLE_DISK_FULL, ERROR_WRITE_PROTECT, ERROR_ACCESS_DENIED,
                              ERROR_PATH_NOT_FOUND, ERROR_FILE_NOT_FOUND, ERROR_BAD_NETPATH, ERROR_NETNAME_DELETED,
                              ERROR_UNEXP_NET_ERR, ERROR_NOT_READY, ERROR_GEN_FAILURE}) {
        g_answers = {error};
        EXPECT_EQ(Refusal(L"Report.doc"), L"No file can be made in the document store: " + GetSystemErrorText(error) +
                                              L" (" + std::to_wstring(error) + L")");
        EXPECT_GE(g_probes, 1);
    }
}

TEST_F(FileNameTest, ADirectoryThatShowsNothingEndsTheSearchWhenItTakesNoFile) {
    for (const DWORD lookUp : {ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION}) {
        g_answers = {ERROR_ACCESS_DENIED};
        g_lookUp = lookUp;
        EXPECT_EQ(Refusal(L"Report.doc"),
                  L"No file can be made in the document store: " + GetSystemErrorText(ERROR_ACCESS_DENIED) + L" (5)");
    }
    // What cannot be seen but leaves room for other files counts as taken: the second probe is for another file.
    g_answers = {ERROR_ACCESS_DENIED, 0, ERROR_ACCESS_DENIED, 0, ERROR_ACCESS_DENIED, 0, 0};
    g_lookUp = ERROR_ACCESS_DENIED;
    g_probes = 0;
    CInternalDocumentStore store;
    EXPECT_EQ(Reserve(store, L"Report.doc"), L"Report(3).doc");
    g_lookUp = 0;
    EXPECT_THAT(Files(store), ElementsAre(L"info.xml"));
}

TEST_F(FileNameTest, ANameThatCanNeverBeMadeIsNotTakenForOneThatCannotBeSeen) {
    g_lookUp = ERROR_ACCESS_DENIED;
    for (const std::wstring& name :
         {std::wstring(300, L'n'), std::wstring(300, L'n') + L".doc", std::wstring(L"a?b")}) {
        CInternalDocumentStore store;
        std::wstring path;
        g_probes = 0;
        EXPECT_EQ(store.GetNewDocumentPath(name.c_str(), nullptr, L"", path), E_FAIL) << name;
        EXPECT_LE(g_probes, 6) << name;
        EXPECT_THAT(store.GetNameRefusal(), StartsWith(L"The document name \"")) << name;
    }
}

TEST_F(FileNameTest, FilesThatAreThereAreCountedPastWhateverTheProbeSays) {
    // A file, one that is held, a folder, a file that is marked read-only, and one with a long name.
    CInternalDocumentStore store;
    const std::wstring start = Directory(store) + L"\\";
    fs::create_directories(start);
    WriteBytes(start + L"a.doc", "mine");
    WriteBytes(start + L"a(1).doc", "held");
    const CUniqueHandle held(
        CreateFileW((start + L"a(1).doc").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    fs::create_directories(start + L"a(2).doc");
    WriteBytes(start + L"a(3).doc", "kept");
    SetFileAttributesW((start + L"a(3).doc").c_str(), FILE_ATTRIBUTE_READONLY);
    EXPECT_EQ(Reserve(store, L"a.doc"), L"a(4).doc");

    for (const DWORD error : {ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION, ERROR_DISK_FULL}) {
        CInternalDocumentStore other(store);
        g_probes = 0;
        g_answers = {error, error, error, error, 0};
        EXPECT_EQ(Reserve(other, L"a.doc"), L"a(5).doc") << error; // the fourth is reserved, and not probed
    }
    g_answers.clear();
    SetFileAttributesW((start + L"a(3).doc").c_str(), FILE_ATTRIBUTE_NORMAL);

    const std::wstring name(200, L'x');
    WriteBytes(start + name, "mine");
    EXPECT_EQ(Reserve(store, name.c_str()), name + L"(1)");
}

TEST_F(FileNameTest, OneRefusalAmongTakenNamesDoesNotEndTheSearch) {
    CInternalDocumentStore store;
    WriteBytes(Directory(store) + L"\\a(1).doc", "mine");
    WriteBytes(Directory(store) + L"\\a(3).doc", "mine");
    g_answers = {ERROR_ACCESS_DENIED, 0, ERROR_GEN_FAILURE, 0, ERROR_FILE_NOT_FOUND, 0};
    EXPECT_EQ(Reserve(store, L"a.doc"), L"a(5).doc");
    EXPECT_EQ(g_probes, 6);
}

TEST_F(FileNameTest, ADevicesNameBecomesAFileNameWithACounter) {
    for (const wchar_t* name : {L"CON", L"com1", L"CONIN$"}) {
        CInternalDocumentStore store;
        EXPECT_EQ(Reserve(store, name), name + std::wstring(L"(1)"));
    }
}

TEST_F(FileNameTest, TheReasonIsGoneAfterTheNextReservation) {
    CInternalDocumentStore store;
    std::wstring path;
    EXPECT_EQ(store.GetNewDocumentPath(L"a:b", nullptr, L"", path), E_FAIL);
    EXPECT_NE(store.GetNameRefusal(), L"");
    EXPECT_EQ(Reserve(store, L"a"), L"a");
    EXPECT_EQ(store.GetNameRefusal(), L"");
}
