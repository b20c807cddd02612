// Proves which path a script is given for a document, and what is on record then: InternalDocumentStore.

#include "StoreFixture.h"
#include "StorePeer.h"
#include "logging/Logging.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {
BOOL WINAPI KeepFile(const wchar_t*) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

} // namespace

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

TEST_F(StoreTest, AGivenNameStaysGivenWhateverBecomesOfItsFile) {
    CInternalDocumentStore store;
    Reserve(store, L"Report.doc");
    WriteBytes(fs::path(Directory(store)) / L"Report.doc", "saved");
    WriteBytes(fs::path(Directory(store)) / L"Report(1).doc", "a stranger's");
    EXPECT_EQ(Reserve(store, L"Report.doc"), L"Report(2).doc");
    fs::remove(fs::path(Directory(store)) / L"Report.doc");
    EXPECT_EQ(Reserve(store, L"Report.doc"), L"Report(3).doc");
    // What a stranger had is free when the stranger's file is gone.
    fs::remove(fs::path(Directory(store)) / L"Report(1).doc");
    EXPECT_EQ(Reserve(store, L"report.DOC"), L"report(1).DOC");
    EXPECT_EQ(Reserve(store, L"Report.doc"), L"Report(4).doc");
    // The same file name by another way of asking for it.
    EXPECT_EQ(Reserve(store, L"Report(5).doc"), L"Report(5).doc");
    EXPECT_EQ(Reserve(store, L"Report.doc"), L"Report(6).doc");
    EXPECT_EQ(Reserve(store, L"Report(5).doc"), L"Report(5)(1).doc");
    const CInternalDocumentStore copy(store);
    EXPECT_EQ(Reserve(const_cast<CInternalDocumentStore&>(copy), L"Report.doc"), L"Report(7).doc");
}

TEST_F(StoreTest, TheDiskIsNotAskedAboutNamesThatTheStoreGave) {
    static int probes = 0;
    CInternalDocumentStore store;
    for (int i = 0; i < 50; ++i)
        Reserve(store, L"Report.doc");
    const CImportHook counting(
        GetModuleHandleW(nullptr), "GetFullPathNameW",
        +[](LPCWSTR path, DWORD size, LPWSTR buffer, LPWSTR* part) -> DWORD {
            ++probes;
            const auto real = reinterpret_cast<decltype(&GetFullPathNameW)>(
                reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "GetFullPathNameW")));
            return real(path, size, buffer, part);
        });
    probes = 0;
    EXPECT_EQ(Reserve(store, L"Report.doc"), L"Report(50).doc");
    const int many = probes;
    probes = 0;
    EXPECT_EQ(Reserve(store, L"Letter.doc"), L"Letter.doc");
    EXPECT_EQ(many, probes);
}

TEST_F(StoreTest, SpellingsOfOneFileNameCountUp) {
    CInternalDocumentStore store;
    EXPECT_EQ(Reserve(store, L"Report.doc"), L"Report.doc");
    EXPECT_EQ(Reserve(store, L"REPORT.DOC"), L"REPORT(1).DOC");
    EXPECT_EQ(Reserve(store, L"report(1)", L"doc"), L"report(1)(1).doc");
    EXPECT_EQ(Reserve(store, L"Report.doc "), L"Report(2).doc ");
    EXPECT_EQ(Reserve(store, L"\u00c4.doc"), L"\u00c4.doc");
    EXPECT_EQ(Reserve(store, L"\u00e4.doc"), L"\u00e4(1).doc");
    EXPECT_EQ(Reserve(store, L"Letter.doc "), L"Letter.doc ");
    EXPECT_EQ(Reserve(store, L"Letter.doc"), L"Letter(1).doc");
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

TEST_F(StoreTest, ADocumentNeverGetsTheInfoFilesNameOrItsSuccessors) {
    CInternalDocumentStore store;
    EXPECT_EQ(Reserve(store, L"INFO.xml"), L"INFO(1).xml");
    EXPECT_EQ(Reserve(store, L"info", L"xml"), L"info(2).xml");
    EXPECT_EQ(Reserve(store, L"Info.XML.new"), L"Info.XML(1).new");
}

TEST_F(StoreTest, SavedDocumentsKeepTheirReservation) {
    CInternalDocumentStore store;
    const std::wstring first = Reserve(store, L"a.txt");
    WriteBytes(Directory(store) + L"\\" + first, "text");
    EXPECT_EQ(Reserve(store, L"a.txt"), L"a(1).txt");
    fs::remove(Directory(store) + L"\\" + first);
    EXPECT_EQ(Reserve(store, L"a.txt"), L"a(2).txt");
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
    document.values["TempPath"] = L"";
    EXPECT_EQ(store.FindDocument(&document, &found), HRESULT_FROM_WIN32(ERROR_INVALID_NAME));
    document.failing = "TempPath";
    EXPECT_EQ(store.FindDocument(&document, &found), E_ACCESSDENIED);
    EXPECT_EQ(found, untouched);
}

TEST_F(StoreTest, ARecordWithoutAPathIsNeverTheOneThatIsFound) {
    CInternalDocumentStore store;
    store.GetSavedDocumentList()->push_back(std::make_unique<CInternalSavedDocument>());
    const std::wstring saved = Directory(store) + L"\\" + Reserve(store, L"a.txt");
    WriteBytes(saved, "text");
    log.Clear();
    for (const DWORD before : {ERROR_SUCCESS, ERROR_ACCESS_DENIED}) {
        CScriptDocument document;
        CInternalSavedDocument* found = nullptr;
        SetLastError(before);
        EXPECT_EQ(store.FindDocument(&document, &found), HRESULT_FROM_WIN32(ERROR_INVALID_NAME));
        EXPECT_EQ(found, nullptr);
        document.values["TempPath"] = saved;
        SetLastError(before);
        EXPECT_EQ(store.FindDocument(&document, &found), S_OK);
        EXPECT_EQ(found, store.GetSavedDocumentList()->at(1).get());
    }
    EXPECT_THAT(log.At(L"WARN"), ElementsAre(L"Quorline.InternalDocumentStore: Cannot find path ''; error is 123",
                                             L"Quorline.InternalDocumentStore: Cannot find path ''; error is 123"));
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
