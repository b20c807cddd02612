// Proves which stores are found and what they tell together: DocumentStoreHistory.

#include "ScriptExecution/DocumentStoreHistory.h"

#include "ImportHook.h"
#include "DocumentsFixture.h"
#include "logging/Logging.h"

using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

namespace {
BOOL WINAPI BrokenSearch(HANDLE, WIN32_FIND_DATAW*) {
    SetLastError(ERROR_GEN_FAILURE);
    return FALSE;
}

std::string StateChange(const char* when) {
    return std::string("<StateChange><When>") + when + "</When></StateChange>";
}
std::string Docs(std::initializer_list<const char*> recovered) {
    std::string docs = "<Docs>";
    for (const char* text : recovered)
        docs += std::string("<Doc>") + text + "</Doc>";
    return docs + "</Docs>";
}

// The history is one for the process; each test leaves it empty and refreshed.
class HistoryTest : public DocumentsTest {
protected:
    ~HistoryTest() override {
        std::error_code ignored;
        fs::remove_all(folder.Base(), ignored);
        history.Refresh();
    }

    void AddStore(const wchar_t* name, const std::string& content) {
        WriteBytes(folder.Base() / name / L"info.xml", "<DocStore>" + content + "</DocStore>");
    }

    /// The names of each store's first document.
    std::vector<std::wstring> Names() {
        std::vector<std::wstring> names;
        for (const auto& info : history.GetSavedDocumentInfos())
            for (const auto& record : *info->GetInternalDocumentStore()->GetSavedDocumentList())
                names.push_back(Text(*record, &CInternalSavedDocument::GetDocName));
        return names;
    }

    CDocumentStoreHistory& history = CDocumentStoreHistory::GetInstance();
};
} // namespace

TEST_F(HistoryTest, WithoutABaseDirectoryThereIsNothing) {
    history.Refresh();
    EXPECT_THAT(log.Get(), ElementsAre(L"DEBUG ScriptExecution.DocumentStoreHistory: Could not find directory '" +
                                       (folder.Base() / L"*").wstring() + L"' (3)"));
    EXPECT_FALSE(history.HasUnrecoveredDocuments());
    FILETIME time{1, 1};
    EXPECT_FALSE(history.GetLastDocumentSaveTime(&time));
    EXPECT_EQ(time.dwLowDateTime, 0u);
    EXPECT_EQ(time.dwHighDateTime, 0u);
    EXPECT_THAT(history.GetSavedDocumentInfos(), IsEmpty());
    EXPECT_EQ(&CDocumentStoreHistory::GetInstance(), &history);
}

TEST_F(HistoryTest, AScanAsksForTheDocumentsFolderOnceAndTheNextOneAsksAgain) {
    static int questions = 0;
    for (const wchar_t* const name : {L"a", L"b", L"c"})
        AddStore(name, "<Guid>5d8a1c2e-3b4f-4a6d-9e7f-0a1b2c3d4e5f</Guid>" + Docs({"<Name>x</Name>"}));
    const CImportHook counting(
        GetModuleHandleW(nullptr), "SHGetFolderPathW", +[](HWND, int, HANDLE, DWORD, LPWSTR path) -> HRESULT {
            ++questions;
            const auto real = reinterpret_cast<HRESULT(WINAPI*)(HWND, int, HANDLE, DWORD, LPWSTR)>(
                reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"shell32.dll"), "SHGetFolderPathW")));
            return real(nullptr, 0x8005, nullptr, 0, path); // the user's documents, made if need be
        });
    questions = 0;
    history.Refresh();
    EXPECT_EQ(1, questions);
    EXPECT_EQ(3u, Names().size());
    std::wstring directory;
    history.GetSavedDocumentInfos().front()->GetInternalDocumentStore()->GetStorageDirectory(directory, false);
    EXPECT_TRUE(directory.starts_with(folder.Base().wstring() + L"\\"));

    const fs::path elsewhere = folder.Path() / L"elsewhere";
    fs::create_directories(elsewhere);
    folder.Point(elsewhere.wstring());
    history.Refresh();
    EXPECT_EQ(2, questions);
    EXPECT_THAT(Names(), IsEmpty());
    folder.Point(folder.Path().wstring());
}

TEST_F(HistoryTest, StoresComeInTheOrderOfTheSearch) {
    AddStore(L"c", Docs({"<Name>3</Name>"}));
    AddStore(L"a", Docs({"<Name>1</Name>", "<Name>1b</Name>"}));
    AddStore(L"B", Docs({"<Name>2</Name>"}));
    AddStore(L"a copy", Docs({"<Name>1</Name>"}));
    history.Refresh();

    std::vector<std::wstring> expected;
    WIN32_FIND_DATAW entry{};
    const CUniqueFindHandle search(FindFirstFileW((folder.Base() / L"*").c_str(), &entry));
    do
        if (entry.cFileName[0] != L'.')
            for (const auto& [store, name] : std::initializer_list<std::pair<const wchar_t*, const wchar_t*>>{
                     {L"a", L"1"}, {L"a", L"1b"}, {L"a copy", L"1"}, {L"B", L"2"}, {L"c", L"3"}})
                if (wcscmp(store, entry.cFileName) == 0)
                    expected.emplace_back(name);
    while (FindNextFileW(search.Get(), &entry));
    EXPECT_EQ(Names(), expected);
    EXPECT_EQ(history.GetSavedDocumentInfos().size(), 4u);
    EXPECT_THAT(log.Get(), IsEmpty());
}

TEST_F(HistoryTest, FilesAndDirectoriesWithoutAnInfoFileAreSkipped) {
    AddStore(L"a", Docs({"<Name>1</Name>"}));
    WriteBytes(folder.Base() / L"info.xml", "<rubbish");
    fs::create_directories(folder.Base() / L"b");
    fs::create_directories(folder.Base() / L"c" / L"info.xml");
    history.Refresh();
    EXPECT_THAT(Names(), ElementsAre(L"1"));
    EXPECT_THAT(log.Get(), ElementsAre(L"DEBUG ScriptExecution.DocumentStoreHistory: Could not open file '" +
                                           (folder.Base() / L"b" / L"info.xml").wstring() + L"' (code = 2)",
                                       L"DEBUG ScriptExecution.DocumentStoreHistory: Could not open file '" +
                                           (folder.Base() / L"c" / L"info.xml").wstring() + L"' (code = 13)"));
}

TEST_F(HistoryTest, UnrecoveredMeansOneRecordThatIsNotMarked) {
    const struct {
        std::string docs;
        bool unrecovered;
    } rows[] = {
        {Docs({}), false},
        {Docs({"<Rec>True</Rec>", "<Rec>true</Rec>"}), false},
        {Docs({"<Rec>True</Rec>", "<Rec>False</Rec>"}), true},
        {Docs({"<Rec>True</Rec>", ""}), true},
    };
    for (const auto& row : rows) {
        AddStore(L"a", row.docs);
        AddStore(L"b", Docs({"<Rec>True</Rec>"}));
        history.Refresh();
        EXPECT_EQ(history.HasUnrecoveredDocuments(), row.unrecovered) << row.docs;
    }
}

TEST_F(HistoryTest, TheLastSaveTimeIsTheLatestStateChange) {
    AddStore(L"a", StateChange("2023-01-01T00:00:00"));
    AddStore(L"b", StateChange("2024-03-07T17:05:09"));
    AddStore(L"c", StateChange("2024-03-07T17:05:08"));
    AddStore(L"d", Docs({}));
    history.Refresh();
    FILETIME time{};
    EXPECT_TRUE(history.GetLastDocumentSaveTime(&time));
    SYSTEMTIME parts{};
    FileTimeToSystemTime(&time, &parts);
    EXPECT_EQ(parts.wYear, 2024);
    EXPECT_EQ(parts.wSecond, 9);
    EXPECT_TRUE(history.GetLastDocumentSaveTime(nullptr));
}

TEST_F(HistoryTest, AStoreWithoutAStateChangeGivesNoSaveTime) {
    AddStore(L"a", Docs({""}));
    history.Refresh();
    FILETIME time{1, 1};
    EXPECT_FALSE(history.GetLastDocumentSaveTime(&time));
    EXPECT_EQ(time.dwLowDateTime, 0u);
}

TEST_F(HistoryTest, QueriesUseTheLastScan) {
    history.Refresh();
    AddStore(L"a", StateChange("2024-03-07T17:05:09") + Docs({""}));
    EXPECT_FALSE(history.HasUnrecoveredDocuments());
    EXPECT_THAT(Names(), IsEmpty());
    history.Refresh();
    EXPECT_TRUE(history.HasUnrecoveredDocuments());
    fs::remove_all(folder.Base());
    EXPECT_TRUE(history.HasUnrecoveredDocuments());
    FILETIME time{};
    EXPECT_TRUE(history.GetLastDocumentSaveTime(&time));
    history.Refresh();
    EXPECT_FALSE(history.HasUnrecoveredDocuments());
    EXPECT_FALSE(history.GetLastDocumentSaveTime(&time));
}

TEST_F(HistoryTest, AMalformedFileRaisesAndKeepsTheStoresBeforeIt) {
    history.Refresh();
    const auto& infos = history.GetSavedDocumentInfos();
    AddStore(L"a", Docs({"<Name>1</Name>"}));
    AddStore(L"b", Docs({"<Name>2</Name>", "<Rec>rubbish</Rec>"}));
    AddStore(L"c", Docs({"<Name>3</Name>"}));
    EXPECT_EQ(Thrown<CXmlParseException>([&] { history.Refresh(); }).GetText(), L"rubbish");
    ASSERT_EQ(infos.size(), 1u);
    EXPECT_EQ(Text(*infos.front()->GetInternalDocumentStore()->GetSavedDocumentList()->front(),
                   &CInternalSavedDocument::GetDocName),
              L"1");
    WriteBytes(folder.Base() / L"b" / L"info.xml", "<Store/>");
    Thrown<CMorvaneException>([&] { history.Refresh(); });
    AddStore(L"b", "");
    history.Refresh();
    EXPECT_THAT(Names(), ElementsAre(L"1", L"3"));
}

TEST_F(HistoryTest, AScanThatFailsAfterAGoodOneIsTriedAgainByTheNextQuestion) {
    AddStore(L"a", Docs({"<Rec>True</Rec>"}));
    AddStore(L"b", StateChange("2024-03-07T17:05:09") + Docs({""}));
    history.Refresh();
    EXPECT_TRUE(history.HasUnrecoveredDocuments());

    // Half a list would say that nothing is unrecovered.
    WriteBytes(folder.Base() / L"b" / L"info.xml", "<DocStore>");
    Thrown<CXmlParseException>([&] { history.Refresh(); });
    FILETIME time{};
    CScriptDocument document;
    CDocumentStoreInfo* found = nullptr;
    Microsoft::WRL::ComPtr<ISavedDocumentCollection> documents;
    document.values["TempPath"] = (folder.Base() / L"a" / L"x.txt").wstring();
    Thrown<CXmlParseException>([&] { history.HasUnrecoveredDocuments(); });
    Thrown<CXmlParseException>([&] { history.GetLastDocumentSaveTime(&time); });
    Thrown<CXmlParseException>([&] { history.GetSavedDocumentInfos(); });
    Thrown<CXmlParseException>([&] { history.GetDocumentStoreInfoForDocument(&document, &found); });
    Thrown<CXmlParseException>([&] { history.CreateSavedDocumentCollectionCOMObject(documents.GetAddressOf()); });

    AddStore(L"b", StateChange("2024-03-07T17:05:09") + Docs({""}));
    EXPECT_TRUE(history.HasUnrecoveredDocuments());
    EXPECT_TRUE(history.GetLastDocumentSaveTime(&time));
    EXPECT_EQ(history.GetSavedDocumentInfos().size(), 2u);
}

TEST_F(HistoryTest, ARefusedFileIsNamedInTheLogOnceWithTheReason) {
    const std::wstring path = (folder.Base() / L"b" / L"info.xml").wstring();
    AddStore(L"a", Docs({"<Name>1</Name>"}));
    const std::pair<std::string, std::wstring> rows[] = {
        {"<DocStore>\n\na & b</DocStore>", L"Parse error at line 3: not well-formed (invalid token)"},
        {"<DocStore>", L"Parse error at line 1: no element found"},
        {"<DocStore><StateChange><When>now\n\tERROR then</When></StateChange></DocStore>", L"now  ERROR then"},
        {"<DocStore><Guid>x</Guid></DocStore>", GetSystemErrorText(RPC_S_INVALID_STRING_UUID) + L" (1705)"},
        {"<Store/>", L"it is no store's info file"},
    };
    for (const auto& [bytes, reason] : rows) {
        WriteBytes(path, bytes);
        log.Clear();
        EXPECT_THROW(history.Refresh(), CMorvaneException);
        const CTexts named = log.Of(L"ScriptExecution.DocumentStoreHistory");
        EXPECT_THAT(named, ElementsAre(L"ERROR Info file '" + path + L"' was refused: " + reason));
    }
    AddStore(L"b", "");
    log.Clear();
    history.Refresh();
    EXPECT_THAT(log.Get(), IsEmpty());
}

TEST_F(HistoryTest, ASearchThatBreaksIsReportedAndKeepsTheList) {
    AddStore(L"a", Docs({"<Name>1</Name>"}));
    const CImportHook hook(GetModuleHandleW(nullptr), "FindNextFileW", &BrokenSearch);
    history.Refresh();
    EXPECT_THAT(history.GetSavedDocumentInfos(), IsEmpty()); // the first entry is "."
    ASSERT_EQ(log.Get().size(), 1u);
    EXPECT_TRUE(log.Get()[0].starts_with(L"ERROR TalvinorGlobal: Call to FindNextFile failed with \"" +
                                         GetSystemErrorText(31) +
                                         L"\" (31); Called from ScriptExecution/DocumentStoreHistory.cpp; line "));
    EXPECT_TRUE(log.Get()[0].ends_with(L"; CDocumentStoreHistory::Refresh"));
}

TEST_F(HistoryTest, TheStoreOfADocumentIsFoundByItsDirectory) {
    AddStore(L"a", Docs({"<Name>1</Name>"}));
    history.Refresh();
    CDocumentStoreInfo* const info = history.GetSavedDocumentInfos().front().get();
    std::wstring directory;
    ASSERT_EQ(info->GetInternalDocumentStore()->GetStorageDirectory(directory, true), S_OK);

    CScriptDocument document;
    CharUpperW(directory.data());
    document.values["TempPath"] = directory + L"\\gone.txt";
    CDocumentStoreInfo* found = nullptr;
    EXPECT_EQ(history.GetDocumentStoreInfoForDocument(&document, &found), S_OK);
    EXPECT_EQ(found, info);

    document.values["TempPath"] = (folder.Base() / L"a" / L"x.txt").wstring();
    found = nullptr;
    EXPECT_EQ(history.GetDocumentStoreInfoForDocument(&document, &found), S_FALSE);
    EXPECT_EQ(found, nullptr);
}

TEST_F(HistoryTest, ADocumentWhoseStoreCannotBeLookedUpSaysWhy) {
    CScriptDocument document;
    auto* const untouched = reinterpret_cast<CDocumentStoreInfo*>(1);
    CDocumentStoreInfo* found = untouched;
    EXPECT_EQ(history.GetDocumentStoreInfoForDocument(&document, nullptr), E_POINTER);
    document.failing = "TempPath";
    EXPECT_EQ(history.GetDocumentStoreInfoForDocument(&document, &found), E_ACCESSDENIED);
    document.failing.clear();
    document.values["TempPath"] = (folder.Base() / L"none" / L"x.txt").wstring();
    EXPECT_TRUE(HRESULT_FACILITY(history.GetDocumentStoreInfoForDocument(&document, &found)) == FACILITY_WIN32);

    // The directory that a store worked out when it was read is usually not there: the search ends with that.
    AddStore(L"a", Docs({""}));
    history.Refresh();
    document.values["TempPath"] = (folder.Base() / L"a" / L"x.txt").wstring();
    EXPECT_EQ(history.GetDocumentStoreInfoForDocument(&document, &found), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(found, untouched);
}

TEST_F(HistoryTest, AllDocumentsOfAllStoresMakeOneCollection) {
    AddStore(L"2024-01-01", Docs({"<Name>a</Name>", "<Name>b</Name>"}));
    AddStore(L"2024-01-02", Docs({"<Name>c</Name>"}));
    history.Refresh();
    EXPECT_EQ(history.CreateSavedDocumentCollectionCOMObject(nullptr), E_POINTER);
    Microsoft::WRL::ComPtr<ISavedDocumentCollection> documents;
    ASSERT_EQ(history.CreateSavedDocumentCollectionCOMObject(documents.GetAddressOf()), S_OK);
    unsigned long count = 0;
    EXPECT_EQ(documents->get_Count(&count), S_OK);
    ASSERT_EQ(count, 3u);
    Microsoft::WRL::ComPtr<ISavedDocument> last;
    ASSERT_EQ(documents->get_Item(2, last.GetAddressOf()), S_OK);
    BSTR name = nullptr;
    EXPECT_EQ(last->get_Name(&name), S_OK);
    EXPECT_STREQ(name, L"c");
    SysFreeString(name);
}

TEST_F(HistoryTest, AStoreIsWrittenBackToTheFileThatItWasReadFrom) {
    const std::string document = Docs({"<Name>R&amp;D 100%</Name><Rec>False</Rec>"});
    const auto change = [](const char* type) {
        return std::string("<StateChange><When>2024-03-07T17:05:09</When><Type>") + type + "</Type></StateChange>";
    };
    const struct {
        const wchar_t* name;
        std::string change;
        const char* written; ///< the type of the state change, null when there is none
    } stores[] = {{L"a", "", nullptr},
                  {L"b", change("Shutdown"), "\tShutdown\t"},
                  {L"c", change("ForcedShutdown"), "\tForcedShutdown\t"}};
    for (const auto& store : stores)
        AddStore(store.name, store.change + document);
    history.Refresh();
    for (const auto& info : history.GetSavedDocumentInfos()) {
        info->GetInternalDocumentStore()->GetSavedDocumentList()->front()->SetStatus(TEMP_DOCUMENT_RECOVERED);
        history.WriteBack(*info);
    }

    history.Refresh();
    EXPECT_FALSE(history.HasUnrecoveredDocuments());
    EXPECT_THAT(Names(), ElementsAre(L"R&D 100%", L"R&D 100%", L"R&D 100%"));
    for (const auto& store : stores) {
        const std::string bytes = ReadBytes(folder.Base() / store.name / L"info.xml");
        EXPECT_EQ(bytes.find("<StateChange>") != std::string::npos, store.written != nullptr) << bytes;
        if (store.written != nullptr) {
            EXPECT_NE(bytes.find("\t2024-03-07T17:05:09\t"), std::string::npos);
            EXPECT_NE(bytes.find(store.written), std::string::npos);
        }
    }
    EXPECT_THROW(history.WriteBack(CDocumentStoreInfo()), CMorvaneException);
}
