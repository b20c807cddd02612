#include "InternalDocumentStore.h"

#include "ImportHook.h"
#include "StorePeer.h"
#include "Support.h"
#include "logging/Logging.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
namespace fs = std::filesystem;

namespace {
constexpr GUID SomeGuid = {0x5d8a1c2e, 0x3b4f, 0x4a6d, {0x9e, 0x7f, 0x0a, 0x1b, 0x2c, 0x3d, 0x4e, 0x5f}};
const std::wstring SomeGuidText = L"5d8a1c2e-3b4f-4a6d-9e7f-0a1b2c3d4e5f";

SYSTEMTIME g_localTime = {2024, 3, 4, 7, 18, 5, 9, 999};
void WINAPI FixedLocalTime(SYSTEMTIME* time) {
    *time = g_localTime;
}

BOOL WINAPI NoThreadToken(HANDLE, DWORD, BOOL, HANDLE*) {
    SetLastError(ERROR_NO_TOKEN);
    return FALSE;
}
BOOL WINAPI ForbiddenThreadToken(HANDLE, DWORD, BOOL, HANDLE*) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}
BOOL WINAPI ForbiddenProcessToken(HANDLE, DWORD, HANDLE*) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}
BOOL WINAPI KeepFile(const wchar_t*) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

class StoreTest : public DocumentsTest {
protected:
    static std::wstring Directory(const CInternalDocumentStore& store) {
        std::wstring directory;
        EXPECT_EQ(store.GetStorageDirectory(directory, false), S_OK);
        return directory;
    }

    /// Reserves and returns the file name that was given.
    static std::wstring Reserve(CInternalDocumentStore& store, const wchar_t* name,
                                const std::wstring& extension = L"") {
        std::wstring path;
        EXPECT_EQ(store.GetNewDocumentPath(name, nullptr, extension, path), S_OK) << name;
        EXPECT_TRUE(path.starts_with(Directory(store) + L"\\")) << path;
        return path.substr(std::min(path.size(), Directory(store).size() + 1));
    }

    std::vector<std::wstring> Files(const CInternalDocumentStore& store) {
        std::vector<std::wstring> names;
        for (const auto& entry : fs::directory_iterator(Directory(store)))
            names.push_back(entry.path().filename().wstring());
        std::sort(names.begin(), names.end());
        return names;
    }

    std::wstring Documents() const { return folder.Path().wstring(); }
    CImportHook clock{GetModuleHandleW(nullptr), "GetLocalTime", &FixedLocalTime};
};
} // namespace

TEST_F(StoreTest, TheBaseDirectoryIsInTheDocumentsFolder) {
    std::wstring base = L"old";
    CInternalDocumentStore::GetBaseDirectory(base);
    EXPECT_EQ(base, Documents() + L"\\Talvinor Saved Documents");
    EXPECT_FALSE(fs::exists(base));
    EXPECT_THAT(log.Get(), IsEmpty());
}

TEST_F(StoreTest, TheBaseDirectoryLeavesNoHandleOpen) {
    std::wstring base;
    CInternalDocumentStore::GetBaseDirectory(base);
    DWORD before = 0;
    GetProcessHandleCount(GetCurrentProcess(), &before);
    for (int i = 0; i < 100; ++i)
        CInternalDocumentStore::GetBaseDirectory(base);
    DWORD after = 0;
    GetProcessHandleCount(GetCurrentProcess(), &after);
    EXPECT_LE(after, before + 2);
}

TEST_F(StoreTest, AMissingProcessTokenIsReportedAsOpenThreadTokenAndSurvived) {
    const CImportHook thread(GetModuleHandleW(nullptr), "OpenThreadToken", &NoThreadToken);
    const CImportHook process(GetModuleHandleW(nullptr), "OpenProcessToken", &ForbiddenProcessToken);
    std::wstring base;
    CInternalDocumentStore::GetBaseDirectory(base);
    EXPECT_EQ(base, Documents() + L"\\Talvinor Saved Documents");
    ASSERT_EQ(log.Get().size(), 1u);
    EXPECT_TRUE(log.Get()[0].starts_with(L"ERROR TalvinorGlobal: Call to OpenThreadToken failed with \"" +
                                         GetSystemErrorText(5) +
                                         L"\" (5); Called from InternalDocumentStore.cpp; line "));
    EXPECT_TRUE(log.Get()[0].ends_with(L"; CInternalDocumentStore::GetBaseDirectory"));
}

TEST_F(StoreTest, AThreadTokenThatIsRefusedIsIgnored) {
    const CImportHook thread(GetModuleHandleW(nullptr), "OpenThreadToken", &ForbiddenThreadToken);
    const CImportHook process(GetModuleHandleW(nullptr), "OpenProcessToken", &ForbiddenProcessToken);
    std::wstring base;
    CInternalDocumentStore::GetBaseDirectory(base);
    EXPECT_EQ(base, Documents() + L"\\Talvinor Saved Documents");
    EXPECT_THAT(log.Get(), IsEmpty());
}

TEST_F(StoreTest, ADocumentsFolderThatCannotBeMadeIsReportedAndSurvived) {
    WriteBytes(folder.Path() / L"file", "");
    folder.Point(Documents() + L"\\file\\below");
    std::wstring base;
    CInternalDocumentStore::GetBaseDirectory(base);
    EXPECT_TRUE(base.ends_with(L"Talvinor Saved Documents")) << base;
    ASSERT_EQ(log.Get().size(), 1u);
    EXPECT_TRUE(log.Get()[0].starts_with(L"ERROR TalvinorGlobal: Call to SHGetFolderPath failed with \""))
        << log.Get()[0];
    EXPECT_TRUE(log.Get()[0].ends_with(L"; CInternalDocumentStore::GetBaseDirectory"));
}

TEST_F(StoreTest, TheStoreDirectoryIsNamedAfterTheLocalTimeAndMadeWhenNeeded) {
    const CInternalDocumentStore store;
    EXPECT_EQ(Directory(store), Documents() + L"\\Talvinor Saved Documents\\2024-03-07_18.05.09");
    EXPECT_FALSE(fs::exists(folder.Base()));
    std::wstring directory;
    EXPECT_EQ(store.GetStorageDirectory(directory, true), S_OK);
    EXPECT_EQ(directory, Directory(store));
    EXPECT_TRUE(fs::is_directory(directory));
    EXPECT_EQ(store.GetStorageDirectory(directory, true), S_OK);
}

TEST_F(StoreTest, InitWorksTheDirectoryOutOnce) {
    CInternalDocumentStore store;
    const std::wstring directory = Directory(store);
    g_localTime.wSecond = 10;
    store.Init();
    EXPECT_EQ(Directory(store), directory);
    g_localTime.wSecond = 9;
}

TEST_F(StoreTest, AStoreThatIsNotInitialisedHasNoDirectory) {
    CInternalDocumentStore store;
    CInternalDocumentStorePeer::Uninit(store);
    std::wstring text = L"old";
    Thrown<CMorvaneException>([&] { store.GetStorageDirectory(text, false); });
    EXPECT_EQ(text, L"old");
    ASSERT_EQ(log.Get().size(), 1u);
    EXPECT_TRUE(log.Get()[0].starts_with(L"ERROR TalvinorGlobal: Failed sanity test \"CInternalDocumentStore object is "
                                         L"not inited\"; tested at InternalDocumentStore.cpp; line "));
    EXPECT_EQ(store.GetInfoFilePath(text, L".xml"), E_FAIL);
    EXPECT_EQ(text, L"old");
    EXPECT_EQ(store.WriteInfoFile(), E_FAIL);
    for (const auto& entry : fs::recursive_directory_iterator(folder.Path()))
        EXPECT_TRUE(entry.is_directory()) << entry.path().string();
}

TEST_F(StoreTest, ADirectoryThatCannotBeMadeFailsBeforeAnyProbe) {
    CInternalDocumentStore store;
    WriteBytes(folder.Base(), "in the way");
    std::wstring path = L"old";
    const HRESULT hr = store.GetNewDocumentPath(L"Report.doc", nullptr, L"", path);
    EXPECT_EQ(HRESULT_FACILITY(hr), FACILITY_WIN32);
    EXPECT_TRUE(FAILED(hr));
    EXPECT_EQ(path, L"old");
    EXPECT_THAT(*store.GetSavedDocumentList(), IsEmpty());
    const auto code = static_cast<unsigned>(HRESULT_CODE(hr));
    const auto errors = log.At(L"ERROR");
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_TRUE(errors[0].starts_with(L"TalvinorGlobal: Call to SHCreateDirectory failed with \"" +
                                      GetSystemErrorText(code) + L"\" (" + std::to_wstring(code) +
                                      L"); Called from InternalDocumentStore.cpp; line "))
        << errors[0];
    EXPECT_TRUE(errors[0].ends_with(L"; CInternalDocumentStore::CreateStorageDirectory"));

    EXPECT_EQ(store.WriteInfoFile(), hr);
    EXPECT_EQ(GetLastError(), code);
    EXPECT_EQ(store.GetStorageDirectory(path, true), hr);
    EXPECT_EQ(path, Directory(store));
    EXPECT_EQ(ReadBytes(folder.Base()), "in the way");
}

TEST_F(StoreTest, TheIdentifierIsTheOneGiven) {
    CGuid guid(GUID{});
    guid.SetValid(false);
    const CInternalDocumentStore fromGuid(SomeGuid);
    EXPECT_EQ(fromGuid.GetGuid(guid), S_OK);
    EXPECT_EQ(guid.GetGuid(), SomeGuid);
    EXPECT_TRUE(guid.IsValid());

    CGuid invalid(SomeGuid);
    invalid.SetValid(false);
    const CInternalDocumentStore fromClass(invalid);
    EXPECT_EQ(CInternalDocumentStorePeer::GuidString(fromClass), SomeGuidText);

    CGuid other(GUID{});
    EXPECT_EQ(CInternalDocumentStore().GetGuid(guid), S_OK);
    EXPECT_EQ(CInternalDocumentStore().GetGuid(other), S_OK);
    EXPECT_NE(guid.GetGuid(), other.GetGuid());
}

TEST_F(StoreTest, WithoutAnIdentifierThereIsNoText) {
    CInternalDocumentStore store;
    CInternalDocumentStorePeer::ForgetGuid(store);
    CGuid guid(SomeGuid);
    EXPECT_EQ(store.GetGuid(guid), E_FAIL);
    EXPECT_EQ(guid.GetGuid(), SomeGuid);
    EXPECT_EQ(Thrown<COSException>([&] { CInternalDocumentStorePeer::GuidString(store); }).GetErrorCode(), 0x80004005u);
    ASSERT_EQ(log.Get().size(), 1u);
    EXPECT_TRUE(log.Get()[0].starts_with(
        L"ERROR TalvinorGlobal: Failure HRESULT=0x80004005; \"Failed to convert guid to string\"; at "));
}

TEST_F(StoreTest, ReplacingTheIdentifierMovesTheStoreToTheCurrentTime) {
    CInternalDocumentStore store;
    g_localTime.wSecond = 10;
    EXPECT_EQ(store.SetGuid(CGuid(SomeGuid)), S_OK);
    EXPECT_EQ(Directory(store), folder.Base().wstring() + L"\\2024-03-07_18.05.10");
    EXPECT_EQ(CInternalDocumentStorePeer::GuidString(store), SomeGuidText);

    CInternalDocumentStorePeer::ForgetGuid(store);
    g_localTime.wSecond = 9;
    EXPECT_EQ(store.SetGuid(CGuid(SomeGuid)), S_OK);
    EXPECT_EQ(Directory(store), folder.Base().wstring() + L"\\2024-03-07_18.05.10");
}

TEST_F(StoreTest, TheInfoPathTakesItsExtensionWithOrWithoutADot) {
    CInternalDocumentStore store;
    const std::pair<const wchar_t*, const wchar_t*> rows[] = {
        {L".xml", L"\\info.xml"}, {L"xml", L"\\info.xml"}, {L"", L"\\info."}, {L"..x", L"\\info..x"}};
    for (const auto& [extension, name] : rows) {
        std::wstring path;
        EXPECT_EQ(store.GetInfoFilePath(path, extension), S_OK);
        EXPECT_EQ(path, Directory(store) + name);
    }
}

TEST_F(StoreTest, TheStateChangeInstanceIsHeldWithOneReference) {
    CHostStateChange first;
    CHostStateChange second;
    {
        CInternalDocumentStore store;
        IStateChangeInstance* held = &second;
        EXPECT_EQ(store.GetStateChangeInstance(&held), S_OK);
        EXPECT_EQ(held, nullptr);
        EXPECT_EQ(store.GetStateChangeInstance(nullptr), S_OK);

        EXPECT_EQ(store.SetStateChangeInstance(&first), S_OK);
        EXPECT_EQ(store.SetStateChangeInstance(&first), S_OK);
        EXPECT_EQ(first.references, 2);
        EXPECT_EQ(store.GetStateChangeInstance(nullptr), S_OK);
        EXPECT_EQ(first.references, 2);
        EXPECT_EQ(store.GetStateChangeInstance(&held), S_OK);
        EXPECT_EQ(held, &first);
        EXPECT_EQ(first.references, 3);
        held->Release();

        EXPECT_EQ(store.SetStateChangeInstance(&second), S_OK);
        EXPECT_EQ(first.references, 1);
        EXPECT_EQ(second.references, 2);
    }
    EXPECT_EQ(second.references, 1);
}

TEST_F(StoreTest, NamesAndExtensionsMakeAFileName) {
    const struct {
        const wchar_t* name;
        const wchar_t* extension;
        const wchar_t* file;
    } rows[] = {
        {nullptr, L"", L"Untitled"},
        {L"", L"", L"Untitled"},
        {L"", L"txt", L"Untitled.txt"},
        {L"Report.doc", L"", L"Report.doc"},
        {L"Report.doc", L"doc", L"Report.doc"},
        {L"Report.doc", L".doc", L"Report.doc"},
        {L"Report.doc", L".txt", L"Report.doc.txt"},
        {L"Report.doc", L"DOC", L"Report.doc.DOC"},
        {L"Report", L"doc", L"Report.doc"},
        {L"Report", L"", L"Report"},
        {L"a.b.c", L"", L"a.b.c"},
        {L"a.b.c", L"c", L"a.b.c"},
        {L"a.b.c", L"b", L"a.b.c.b"},
        {L".doc", L"", L".doc"},
        {L"{0}%s", L"", L"{0}%s"},
        {L"100%d sure.txt", L"", L"100%d sure.txt"},
        {L"\u65e5\u672c \U0001F600.txt", L"", L"\u65e5\u672c \U0001F600.txt"},
    };
    for (const auto& row : rows) {
        CInternalDocumentStore store;
        EXPECT_EQ(Reserve(store, row.name, row.extension), row.file);
        std::error_code ignored;
        fs::remove_all(Directory(store), ignored);
    }
}

TEST_F(StoreTest, ReservingTheSameNameTwiceCountsUp) {
    CInternalDocumentStore store;
    EXPECT_EQ(Reserve(store, L"Report.doc"), L"Report.doc");
    EXPECT_EQ(Reserve(store, L"Report.doc"), L"Report(1).doc");
    EXPECT_EQ(Reserve(store, L"Report.doc"), L"Report(2).doc");
    EXPECT_EQ(Reserve(store, L"Report"), L"Report");
    EXPECT_EQ(Reserve(store, nullptr), L"Untitled");
    EXPECT_EQ(Reserve(store, nullptr), L"Untitled(1)");
    EXPECT_THAT(Files(store), ElementsAre(L"info.xml"));
}

TEST_F(StoreTest, SpellingsOfOneFileNameCountUp) {
    CInternalDocumentStore store;
    EXPECT_EQ(Reserve(store, L"Report.doc"), L"Report.doc");
    EXPECT_EQ(Reserve(store, L"REPORT.DOC"), L"REPORT(1).DOC");
    EXPECT_EQ(Reserve(store, L"report(1)", L"doc"), L"report(1)(1).doc");
    EXPECT_EQ(Reserve(store, L"Report.doc "), L"Report(2).doc ");
    EXPECT_EQ(Reserve(store, L"\u00c4.doc"), L"\u00c4.doc");
    EXPECT_EQ(Reserve(store, L"\u00e4.doc"), L"\u00e4(1).doc");
    EXPECT_THAT(Files(store), ElementsAre(L"info.xml"));
}

TEST_F(StoreTest, FilesAndFoldersOnDiskAreAvoided) {
    CInternalDocumentStore store;
    WriteBytes(Directory(store) + L"\\Report.doc", "mine");
    fs::create_directories(Directory(store) + L"\\Report(1).doc");
    WriteBytes(Directory(store) + L"\\Report(3).doc", "");
    EXPECT_EQ(Reserve(store, L"Report.doc"), L"Report(2).doc");
    EXPECT_EQ(Reserve(store, L"Report.doc"), L"Report(4).doc");
    EXPECT_EQ(ReadBytes(Directory(store) + L"\\Report.doc"), "mine");
    EXPECT_THAT(Files(store), ElementsAre(L"Report(1).doc", L"Report(3).doc", L"Report.doc", L"info.xml"));
}

TEST_F(StoreTest, ADocumentNeverGetsTheInfoFilesName) {
    CInternalDocumentStore store;
    EXPECT_EQ(Reserve(store, L"INFO.xml"), L"INFO(1).xml");
    EXPECT_EQ(Reserve(store, L"info", L"xml"), L"info(2).xml");
}

TEST_F(StoreTest, SavedDocumentsKeepTheirReservation) {
    CInternalDocumentStore store;
    const std::wstring first = Reserve(store, L"a.txt");
    WriteBytes(Directory(store) + L"\\" + first, "text");
    EXPECT_EQ(Reserve(store, L"a.txt"), L"a(1).txt");
    fs::remove(Directory(store) + L"\\" + first);
    EXPECT_EQ(Reserve(store, L"a.txt"), L"a(2).txt");
}

TEST_F(StoreTest, ANameThatTheFileSystemRefusesFails) {
    for (const wchar_t* name : {L"what?.doc", L"a<b", L"no such folder\\a.doc"}) {
        CInternalDocumentStore store;
        std::wstring path = L"old";
        EXPECT_EQ(store.GetNewDocumentPath(name, nullptr, L"", path), E_FAIL);
        EXPECT_EQ(path, L"old");
        EXPECT_THAT(*store.GetSavedDocumentList(), IsEmpty());
        EXPECT_THAT(Files(store), IsEmpty());
    }
}

TEST_F(StoreTest, AProbeThatCannotBeDeletedFails) {
    const CImportHook hook(GetModuleHandleW(nullptr), "DeleteFileW", &KeepFile);
    CInternalDocumentStore store;
    std::wstring path = L"old";
    EXPECT_EQ(store.GetNewDocumentPath(L"a.txt", nullptr, L"", path), E_FAIL);
    EXPECT_EQ(path, L"old");
    EXPECT_THAT(*store.GetSavedDocumentList(), IsEmpty());
}

TEST_F(StoreTest, AReservationFillsARecord) {
    CInternalDocumentStore store(SomeGuid);
    EXPECT_EQ(store.SetCurrentAppInfo(L"a.exe", L"A", L"C:\\a.exe"), S_OK);
    std::wstring path;
    ASSERT_EQ(store.GetNewDocumentPath(L"Report.doc", L"C:\\Work\\Report.doc", L"", path), S_OK);
    EXPECT_EQ(store.SetCurrentAppInfo(L"b.exe", L"B", L"C:\\b.exe"), S_OK);
    std::wstring second;
    ASSERT_EQ(store.GetNewDocumentPath(L"", L"", L"", second), S_OK);
    std::wstring third;
    ASSERT_EQ(store.GetNewDocumentPath(nullptr, nullptr, L"", third), S_OK);

    const auto& records = *store.GetSavedDocumentList();
    ASSERT_EQ(records.size(), 3u);
    using Record = CInternalSavedDocument;
    EXPECT_EQ(Text(*records[0], &Record::GetDocName), L"Report.doc");
    EXPECT_EQ(Text(*records[0], &Record::GetDocOriginalPath), L"C:\\Work\\Report.doc");
    EXPECT_EQ(Text(*records[0], &Record::GetDocTempPath), path);
    EXPECT_EQ(Text(*records[0], &Record::GetAppExeImageName), L"a.exe");
    EXPECT_EQ(Text(*records[0], &Record::GetAppFriendlyName), L"A");
    EXPECT_EQ(Text(*records[0], &Record::GetAppPath), L"C:\\a.exe");
    EXPECT_EQ(Text(*records[0], &Record::GetSaveScriptName), L"");
    EXPECT_EQ(Text(*records[0], &Record::GetRestoreScriptName), L"");
    EXPECT_EQ(records[0]->GetStatus(), TEMP_DOCUMENT_NOT_RECOVERED);
    EXPECT_EQ(Text(*records[1], &Record::GetAppExeImageName), L"b.exe");
    EXPECT_EQ(Text(*records[1], &Record::GetDocName), L"");
    EXPECT_TRUE(Text(*records[1], &Record::GetDocTempPath).ends_with(L"\\Untitled"));
    EXPECT_EQ(Text(*records[2], &Record::GetDocName), L"");
    EXPECT_TRUE(Text(*records[2], &Record::GetDocTempPath).ends_with(L"\\Untitled(1)"));

    EXPECT_THAT(
        log.At(L"INFO"),
        ElementsAre(L"Quorline.InternalDocumentStore: [" + SomeGuidText + L"] Reserved temp document '" + path + L"'",
                    L"Quorline.InternalDocumentStore: [" + SomeGuidText + L"] Reserved temp document '" + second + L"'",
                    L"Quorline.InternalDocumentStore: [" + SomeGuidText + L"] Reserved temp document '" + third +
                        L"'"));
}

TEST_F(StoreTest, ReservingAndWritingAreTraced) {
    CInternalDocumentStore store;
    Reserve(store, L"a.txt");
    EXPECT_THAT(log.At(L"DEBUG"),
                ElementsAre(L"Trace.CInternalDocumentStore: Entering -> [CInternalDocumentStore::GetNewDocumentPath]",
                            L"Trace.CInternalDocumentStore: Entering -> [CInternalDocumentStore::WriteInfoFile]",
                            L"Trace.CInternalDocumentStore: Leaving  -> [CInternalDocumentStore::WriteInfoFile]",
                            L"Trace.CInternalDocumentStore: Leaving  -> [CInternalDocumentStore::GetNewDocumentPath]"));
}

TEST_F(StoreTest, AnInfoFileThatCannotBeWrittenKeepsTheRecord) {
    CInternalDocumentStore store;
    fs::create_directories(Directory(store) + L"\\info.xml");
    std::wstring path;
    const HRESULT hr = store.GetNewDocumentPath(L"a.txt", nullptr, L"", path);
    EXPECT_EQ(hr, HRESULT_FROM_WIN32(EACCES));
    EXPECT_EQ(path, Directory(store) + L"\\a.txt");
    ASSERT_EQ(store.GetSavedDocumentList()->size(), 1u);
    const auto errors = log.At(L"ERROR");
    ASSERT_EQ(errors.size(), 2u);
    EXPECT_TRUE(errors[0].starts_with(L"TalvinorGlobal: Call to _tfopen_s failed with \"")) << errors[0];
    EXPECT_TRUE(errors[0].ends_with(L"; CDocumentStoreXMLWriter::Open")) << errors[0];
    EXPECT_EQ(errors[1], L"Quorline.InternalDocumentStore: Could not write document store information. Error = "
                         L"(0x8007000d) " +
                             GetSystemErrorText(0x8007000D));
    EXPECT_EQ(store.WriteInfoFile(), hr);
}

TEST_F(StoreTest, DocumentsAreFoundByTheirSavedFile) {
    CInternalDocumentStore store;
    Reserve(store, L"gone.txt");
    const std::wstring saved = Directory(store) + L"\\" + Reserve(store, L"A long document name.txt");
    WriteBytes(saved, "text");
    WriteBytes(Directory(store) + L"\\stray.txt", "text");
    log.Clear();

    wchar_t shortPath[MAX_PATH];
    ASSERT_NE(GetShortPathNameW(saved.c_str(), shortPath, MAX_PATH), 0u);
    std::wstring upper = saved;
    CharUpperW(upper.data());
    for (const std::wstring& path :
         {saved, upper, std::wstring(shortPath), Directory(store) + L"/./A long document name.txt"}) {
        CScriptDocument document;
        document.values["TempPath"] = path;
        CInternalSavedDocument* found = nullptr;
        EXPECT_EQ(store.FindDocument(&document, &found), S_OK);
        EXPECT_EQ(found, store.GetSavedDocumentList()->at(1).get());
        EXPECT_EQ(document.references, 1);
    }
    EXPECT_EQ(log.At(L"WARN").size(), 4u);
    EXPECT_EQ(log.At(L"WARN")[0],
              L"Quorline.InternalDocumentStore: Cannot find path '" + Directory(store) + L"\\gone.txt'; error is 2");

    CScriptDocument stray;
    stray.values["TempPath"] = Directory(store) + L"\\stray.txt";
    auto* const untouched = reinterpret_cast<CInternalSavedDocument*>(1);
    CInternalSavedDocument* found = untouched;
    EXPECT_EQ(store.FindDocument(&stray, &found), S_FALSE);
    EXPECT_EQ(found, untouched);
}

TEST_F(StoreTest, ADocumentThatCannotBeLookedUpSaysWhy) {
    CInternalDocumentStore store;
    Reserve(store, L"gone.txt");
    CScriptDocument document;
    auto* const untouched = reinterpret_cast<CInternalSavedDocument*>(1);
    CInternalSavedDocument* found = untouched;
    EXPECT_EQ(store.FindDocument(nullptr, &found), E_POINTER);
    EXPECT_EQ(store.FindDocument(&document, nullptr), E_POINTER);
    document.values["TempPath"] = Directory(store) + L"\\gone.txt";
    EXPECT_EQ(store.FindDocument(&document, &found), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    document.values["TempPath"] = Directory(store) + L"\\" + std::wstring(300, L'x');
    EXPECT_TRUE(FAILED(store.FindDocument(&document, &found)));
    document.failing = "TempPath";
    EXPECT_EQ(store.FindDocument(&document, &found), E_ACCESSDENIED);
    EXPECT_EQ(found, untouched);
}

TEST_F(StoreTest, OneUnrecoveredDocumentIsEnough) {
    CInternalDocumentStore store;
    EXPECT_FALSE(store.HasUnrecoveredDocuments());
    Reserve(store, L"a.txt");
    Reserve(store, L"b.txt");
    EXPECT_TRUE(store.HasUnrecoveredDocuments());
    store.GetSavedDocumentList()->at(0)->SetStatus(TEMP_DOCUMENT_RECOVERED);
    EXPECT_TRUE(store.HasUnrecoveredDocuments());
    store.GetSavedDocumentList()->at(1)->SetStatus(TEMP_DOCUMENT_RECOVERED);
    EXPECT_FALSE(store.HasUnrecoveredDocuments());
    store.GetSavedDocumentList()->at(1)->SetStatus(static_cast<TEMP_DOCUMENT_STATUS>(2));
    EXPECT_TRUE(store.HasUnrecoveredDocuments());
}

TEST_F(StoreTest, ACopyHasRecordsOfItsOwn) {
    CHostStateChange host;
    auto store = std::make_unique<CInternalDocumentStore>(SomeGuid);
    store->SetStateChangeInstance(&host);
    store->SetCurrentAppInfo(L"a.exe", L"A", L"C:\\a.exe");
    Reserve(*store, L"a.txt");
    CInternalDocumentStore copy(*store);
    EXPECT_EQ(host.references, 3);
    const std::wstring directory = Directory(*store);
    store.reset();
    EXPECT_EQ(host.references, 2);
    EXPECT_EQ(Directory(copy), directory);
    EXPECT_EQ(CInternalDocumentStorePeer::GuidString(copy), SomeGuidText);
    ASSERT_EQ(copy.GetSavedDocumentList()->size(), 1u);
    EXPECT_EQ(Text(*copy.GetSavedDocumentList()->at(0), &CInternalSavedDocument::GetAppExeImageName), L"a.exe");
    EXPECT_EQ(Reserve(copy, L"a.txt"), L"a(1).txt");
}
