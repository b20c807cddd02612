// CInternalDocumentStore on disks that take no more: without room, without room for another file, and read-only. The
// disks are the machine's own and small; full-disk.sh mounts them and names them to this program.

#include "DiskFixture.h"

#include "DocumentStore.h"

using testing::IsEmpty;

namespace {
constexpr std::size_t KiB = 1024;

/// Saves what a script would; false when the disk does not take it.
bool Save(const fs::path& path, std::size_t size) {
    std::ofstream file(path, std::ios::binary);
    return static_cast<bool>(file.write(std::string(size, 's').data(), static_cast<std::streamsize>(size)).flush());
}
class FullDiskTest : public DiskTest {
protected:
    /// Has the documents on this disk; false, and a line that says so, when the machine gave none.
    bool Use(const wchar_t* variable) {
        m_disk = Variable(variable);
        if (m_disk.empty())
            return false;
        folder.Point(m_disk.wstring());
        return true;
    }

    void Clear() {
        for (const auto& entry : fs::directory_iterator(m_disk))
            fs::remove_all(entry.path());
    }

    /// Fills the disk, except for this room.
    void Fill(std::size_t room) {
        ASSERT_TRUE(Save(m_disk / L"room", room));
        std::ofstream ballast(m_disk / L"ballast", std::ios::binary);
        const std::string block(KiB, 'b');
        while (ballast.write(block.data(), static_cast<std::streamsize>(block.size())).flush())
            ;
        ballast.close();
        fs::remove(m_disk / L"room");
    }

    fs::path m_disk;
};

} // namespace

TEST_F(FullDiskTest, WhateverRoomIsLeftNoRecordIsLost) {
    if (!Use(L"QUORLINE_SMALL_DISK"))
        GTEST_SKIP() << "no small disk was mounted";
    const std::size_t step = IsSoak() ? 1 : 8;
    for (std::size_t room = 0; room <= 64; room += step) {
        Clear();
        CInternalDocumentStore store(SomeGuid);
        std::wstring path;
        ASSERT_EQ(Attempt(store, L"first", "room on the disk", &path), S_OK);
        ASSERT_TRUE(Save(path, 2 * KiB));
        ASSERT_NO_FATAL_FAILURE(Fill(room * KiB));
        int refused = 0;
        for (int i = 0; i < 60 && refused < 3; ++i) {
            const std::wstring name = L"document " + std::to_wstring(i) + std::wstring(100, L'n');
            if (Attempt(store, name, "the disk fills up", &path) == S_OK)
                Save(path, KiB);
            else
                ++refused;
        }
        EXPECT_EQ(refused, 3) << room << " KiB";
        EXPECT_EQ(ReadBytes(Directory(store) + L"\\first.txt").size(), 2 * KiB);

        // The script's author is told, too.
        CComPtr<IDocumentStore> object;
        ASSERT_EQ(store.CreateDocumentStoreCOMObject(&object), S_OK);
        CComBSTR answer;
        SetErrorInfo(0, nullptr);
        const HRESULT hr =
            object->GetNew(CComBSTR(L"x"), nullptr, CComVariant(DISP_E_PARAMNOTFOUND, VT_ERROR), &answer);
        COutcomeTable::Get().Count("a script's GetNew on the full disk", hr);
        EXPECT_TRUE(FAILED(hr));
        CComPtr<IErrorInfo> error;
        EXPECT_EQ(GetErrorInfo(0, &error), S_OK);

        fs::remove(m_disk / L"ballast");
        EXPECT_EQ(Attempt(store, L"last", "room again"), S_OK);
    }
    Clear();
}

TEST_F(FullDiskTest, WithoutRoomForAnotherFileTheRecordIsWrittenInPlace) {
    if (!Use(L"QUORLINE_FEW_FILES_DISK"))
        GTEST_SKIP() << "no disk with few files was mounted";
    Clear();
    CInternalDocumentStore store(SomeGuid);
    ASSERT_EQ(Attempt(store, L"first", "room on the disk"), S_OK);
    for (int i = 0; std::ofstream(m_disk / (L"filler " + std::to_wstring(i))); ++i)
        ASSERT_LT(i, 1000);
    EXPECT_EQ(Attempt(store, L"second", "no room for another file"), E_FAIL);
    EXPECT_TRUE(store.GetNameRefusal().starts_with(L"No file can be made in the document store: "))
        << store.GetNameRefusal();
    store.GetSavedDocumentList()->front()->SetStatus(TEMP_DOCUMENT_RECOVERED);
    EXPECT_EQ(store.WriteInfoFile(), S_OK);
    EXPECT_NE(Record(store)->find("\tTrue\t"), std::string::npos);
    EXPECT_EQ(NamesOnDisk(store), Names(store));
    Clear();
    EXPECT_EQ(Attempt(store, L"third", "room again"), S_OK);
    Clear();
}

// Run before the disk becomes read-only; the clock stands still, so that the store below has the same folder.
TEST_F(FullDiskTest, DISABLED_AStoreIsMadeOnADiskThatThenBecomesReadOnly) {
    ASSERT_TRUE(Use(L"QUORLINE_READ_ONLY_DISK"));
    CInternalDocumentStore store(SomeGuid);
    EXPECT_EQ(Attempt(store, L"first", "room on the disk"), S_OK);
}

TEST_F(FullDiskTest, AReadOnlyDiskKeepsItsRecordAndTakesNothingMore) {
    if (!Use(L"QUORLINE_READ_ONLY_DISK"))
        GTEST_SKIP() << "no read-only disk was mounted";
    CInternalDocumentStore store(SomeGuid);
    const auto before = Record(store);
    ASSERT_TRUE(before);
    EXPECT_EQ(Attempt(store, L"second", "a read-only disk"), E_FAIL);
    EXPECT_TRUE(store.GetNameRefusal().starts_with(L"No file can be made in the document store: "))
        << store.GetNameRefusal();
    const HRESULT hr = store.WriteInfoFile();
    COutcomeTable::Get().Count("the record on a read-only disk", hr);
    EXPECT_EQ(hr, HRESULT_FROM_WIN32(EACCES));
    EXPECT_EQ(Record(store), before);

    g_localTime.wSecond = 10;
    CInternalDocumentStore fresh(SomeGuid);
    g_localTime.wSecond = 9;
    EXPECT_EQ(HRESULT_FACILITY(Attempt(fresh, L"first", "a new store on a read-only disk")), FACILITY_WIN32);
    EXPECT_THAT(*fresh.GetSavedDocumentList(), IsEmpty());
}
