// Proves which stores there are, and that their records come back whole: StoreCatalog, StoreFiles,
// SavedCopyNames, DirectoryListing.

#include "ChildProgram.h"
#include "Console.h"
#include "DocumentsFolder.h"
#include "ExitCode.h"
#include "InternalDocumentStore.h"
#include "StoreCatalog.h"
#include "StoreFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

namespace {
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class StoreCatalogTest : public testing::Test {
protected:
    void PutInfo(const std::wstring& store, const std::string& bytes) {
        std::filesystem::create_directories(m_documents.Base() / store);
        std::ofstream(m_documents.Base() / store / L"info.xml", std::ios::binary) << bytes;
    }

    /// A store as the library leaves it after one reservation; its name.
    std::wstring Reserve(const wchar_t* document) {
        CInternalDocumentStore store;
        std::wstring path;
        EXPECT_EQ(store.GetNewDocumentPath(document, L"C:\\R&D <draft>\\a.txt", L".txt", path), S_OK);
        std::wstring directory;
        store.GetStorageDirectory(directory, false);
        return directory.substr(directory.find_last_of(L'\\') + 1);
    }

    static std::wstring Original(const CStoreEntry& store) {
        std::wstring value;
        store.Documents().at(0)->GetDocOriginalPath(value);
        return value;
    }

    CDocumentsFolder m_documents;
};
} // namespace

TEST_F(StoreCatalogTest, WithoutTheFolderThereAreNoStores) {
    EXPECT_THAT(ReadStores(), IsEmpty());
}

TEST_F(StoreCatalogTest, OfARecordThatCannotBeMendedTheFilesOwnMistakeIsTold) {
    const std::wstring name = Reserve(L"R&D");
    const std::string bytes = ReadInfoFile(ReadStore(name).InfoPath());
    PutInfo(name, bytes + "<Behind/>");
    const CStoreEntry store = ReadStore(name);
    EXPECT_FALSE(store.info);
    const auto line = std::count(bytes.begin(), bytes.begin() + bytes.find('&'), '\n') + 1;
    EXPECT_THAT(ToUtf8(store.problem), HasSubstr("line " + std::to_string(line) + ":"));
}

TEST_F(StoreCatalogTest, OnlyDirectoriesWithAnInfoFileAreStores) {
    PutInfo(L"b", "");
    PutInfo(L"a", "");
    std::filesystem::create_directories(m_documents.Base() / L"empty");
    std::filesystem::create_directories(m_documents.Base() / L"odd" / L"info.xml");
    std::ofstream(m_documents.Base() / L"file") << "x";
    EXPECT_THAT(ReadStores(), ElementsAre(Field(&CStoreEntry::name, L"a"), Field(&CStoreEntry::name, L"b")));
}

TEST_F(StoreCatalogTest, WhatAStoreHoldsIsListedOnceWithoutTheDirectoryItselfAndItsParent) {
    PutInfo(L"a", "<DocStore></DocStore>");
    std::filesystem::create_directories(m_documents.Base() / L"a" / L"folder");
    std::ofstream(m_documents.Base() / L"a" / L"Letter.txt") << "text";
    const CStoreEntry store = ReadStore(L"a");
    EXPECT_THAT(
        store.files,
        UnorderedElementsAre(AllOf(Field(&CListedFile::name, L"info.xml"), Field(&CListedFile::isDirectory, false)),
                             AllOf(Field(&CListedFile::name, L"folder"), Field(&CListedFile::isDirectory, true)),
                             AllOf(Field(&CListedFile::name, L"Letter.txt"), Field(&CListedFile::isDirectory, false))));
    EXPECT_TRUE(Holds(store.files, L"INFO.XML"));
    EXPECT_FALSE(Holds(store.files, L"info"));
    // What comes later is not in it.
    std::ofstream(m_documents.Base() / L"a" / L"Later.txt") << "text";
    EXPECT_THAT(FindUnrecorded(store), UnorderedElementsAre((m_documents.Base() / L"a" / L"folder").wstring(),
                                                            (m_documents.Base() / L"a" / L"Letter.txt").wstring()));
    EXPECT_THAT(ListDirectory((m_documents.Base() / L"none").wstring()), IsEmpty());
}

TEST_F(StoreCatalogTest, OfManyStoresEachKeepsItsPlaceAndItsRecord) {
    for (int i = 0; i < 150; ++i) {
        const std::string name = "store" + std::to_string(i);
        PutInfo(FromUtf8(name), "<DocStore><Docs><Doc><OrigPath>" + name + "</OrigPath></Doc></Docs></DocStore>");
    }
    std::vector<std::wstring> folders;
    for (const CListedFile& folder : ListDirectory(m_documents.Base().wstring()))
        folders.push_back(folder.name);
    std::vector<std::wstring> names;
    for (const CStoreEntry& store : ReadStores()) {
        ASSERT_NE(store.info, nullptr) << ToUtf8(store.problem);
        EXPECT_EQ(Original(store), store.name);
        names.push_back(store.name);
    }
    EXPECT_EQ(names, folders);
    EXPECT_EQ(names.size(), 150u);
}

TEST_F(StoreCatalogTest, DirectoriesWithFilesButWithoutARecordFollowTheStoresThatWereRead) {
    for (const wchar_t* store : {L"read", L"unread"}) {
        PutInfo(store, "<DocStore></DocStore>");
        std::ofstream(m_documents.Base() / store / L"Letter.txt") << "text";
    }
    std::filesystem::create_directories(m_documents.Base() / L"empty");
    std::filesystem::create_directories(m_documents.Base() / L"lost");
    std::ofstream(m_documents.Base() / L"lost" / L"Letter.txt") << "text";
    std::vector<CStoreEntry> stores;
    stores.push_back(ReadStore(L"read"));
    // Read already, it is not asked about again.
    std::filesystem::remove(m_documents.Base() / L"read" / L"info.xml");
    AddStoresWithoutRecord(stores);
    ASSERT_EQ(stores.size(), 2u);
    EXPECT_NE(stores[0].info, nullptr);
    EXPECT_EQ(stores[1].name, L"lost");
    EXPECT_EQ(stores[1].problem, L"it has no info file");
    EXPECT_EQ(stores[1].info, nullptr);
}

TEST_F(StoreCatalogTest, AnUnreadableStoreSaysWhyAndHidesNoOther) {
    PutInfo(L"broken", "<?xml version=\"1.0\"?>\n<Nothing");
    const CStoreEntry store = ReadStore(L"broken");
    EXPECT_EQ(store.info, nullptr);
    EXPECT_FALSE(store.problem.empty());
    EXPECT_THAT(store.Documents(), IsEmpty());
}

TEST_F(StoreCatalogTest, ValuesThatTheWriterLeavesRawAreReadAsTheyWereMeant) {
    const CStoreEntry store = ReadStore(Reserve(L"R&D"));
    ASSERT_NE(store.info, nullptr) << ToUtf8(store.problem);
    std::wstring name;
    store.Documents().at(0)->GetDocName(name);
    EXPECT_EQ(name, L"R&D");
    EXPECT_THAT(Original(store), HasSubstr(L"R&D <draft>"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(store.directory), {}), 1);
}

TEST_F(StoreCatalogTest, WhatIsWrittenComesBackWhole) {
    CStoreEntry store = ReadStore(Reserve(L"Bericht"));
    ASSERT_NE(store.info, nullptr) << ToUtf8(store.problem);
    const std::wstring odd = L"C:\\R&D <\u00e9t\u00e9>\\100% %n %s \u6587.txt";
    store.Documents().at(0)->SetDocOriginalPath(odd);
    store.Documents().at(0)->SetStatus(TEMP_DOCUMENT_RECOVERED);
    WriteStore(store);
    EXPECT_EQ(Original(store), odd) << "writing changed the record";

    const CStoreEntry again = ReadStore(store.name);
    ASSERT_NE(again.info, nullptr) << ToUtf8(again.problem);
    EXPECT_EQ(Original(again), odd);
    EXPECT_EQ(again.Documents().at(0)->GetStatus(), TEMP_DOCUMENT_RECOVERED);
    EXPECT_FALSE(again.HasStateChange());
}

TEST_F(StoreCatalogTest, TheStateChangeOfAShutdownSurvivesRewriting) {
    const std::pair<_STATE_CHANGE_TYPE, const char*> cases[] = {{Shutdown, "\tShutdown\t"},
                                                                {ForceShutdown, "\tForcedShutdown\t"}};
    for (const auto& [type, text] : cases) {
        CStoreEntry store = ReadStore(Reserve(L"letter"));
        ASSERT_NE(store.info, nullptr) << ToUtf8(store.problem);
        FILETIME time{};
        const SYSTEMTIME moment{2024, 5, 0, 17, 18, 30, 15, 0};
        ASSERT_TRUE(SystemTimeToFileTime(&moment, &time));
        store.info->GetStateChangeInstance()->SetStateChangeType(type);
        store.info->GetStateChangeInstance()->SetUTCTimestamp(time);
        WriteStore(store);
        const CStoreEntry once = ReadStore(store.name);
        ASSERT_NE(once.info, nullptr) << ToUtf8(once.problem);
        EXPECT_TRUE(once.HasStateChange());
        const std::string bytes = ReadBytes(once.InfoPath());
        EXPECT_THAT(bytes, HasSubstr(text));
        EXPECT_THAT(bytes, HasSubstr("\t2024-05-17T18:30:15\t"));
        WriteStore(once);
        EXPECT_EQ(ReadBytes(once.InfoPath()), bytes);
        std::filesystem::remove_all(store.directory);
    }
}

TEST_F(StoreCatalogTest, AWriteThatFailsLeavesTheOldFileAndNothingElse) {
    const CStoreEntry store = ReadStore(Reserve(L"letter"));
    ASSERT_NE(store.info, nullptr) << ToUtf8(store.problem);
    const std::string before = ReadBytes(store.InfoPath());
    // Somebody reads it and lets nobody write.
    const CUniqueHandle reader(
        CreateFileW(store.InfoPath().c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(reader);
    try {
        WriteStore(store);
        FAIL();
    } catch (const CCommandError& error) {
        EXPECT_EQ(error.GetCode(), ExitCode::Failed);
        EXPECT_THAT(ToUtf8(error.GetText()), HasSubstr("could not be written: Permission denied (error 13)"));
    }
    EXPECT_EQ(ReadBytes(store.InfoPath()), before);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(store.directory), {}), 1);
}

TEST_F(StoreCatalogTest, ARecordThatTheLibraryAloneWroteLeadsToEachSavedCopyWhateverItsName) {
    const std::wstring names[] = {L"100% sure", L"a%d", L"a0",     L"a%i",          L"%s & <co>", L"50%%",
                                  L"plain",     L"%n",  L"\xffff", L"\xd83d\xde00", L"%c%c%c",    L"(null)"};
    CInternalDocumentStore store;
    std::set<std::wstring> paths;
    for (const auto& name : names) {
        std::wstring path;
        if (store.GetNewDocumentPath(name.c_str(), L"C:\\R&D\\\x01.txt", L".txt", path) != S_OK)
            continue; // no name for a file
        std::ofstream(std::filesystem::path(path)) << "text";
        EXPECT_TRUE(paths.insert(path).second);
    }
    EXPECT_GE(paths.size(), 10u);
    std::wstring directory;
    store.GetStorageDirectory(directory, false);
    const CStoreEntry read = ReadStore(directory.substr(directory.find_last_of(L'\\') + 1));
    ASSERT_NE(read.info, nullptr) << ToUtf8(read.problem);
    std::set<std::wstring> found;
    for (const auto* document : read.Documents()) {
        std::wstring path;
        document->GetDocTempPath(path);
        found.insert(path);
    }
    EXPECT_EQ(found, paths);
}
