// Proves InternalDocumentStore on disks that take no more: without room, without room for another file, and read-only.
// The disks are the machine's own and small; full-disk.sh mounts them and names them to this program.

#include "DiskFixture.h"

#include "DocumentStore.h"
#include "SmallDisk.h"

using testing::IsEmpty;

namespace {
constexpr std::size_t KiB = 1024;

class FullDiskTest : public DiskTest {
protected:
    /// Has the documents on this disk; false when the machine gave none.
    bool Use(const wchar_t* variable) {
        m_disk = CSmallDisk(variable);
        if (m_disk.IsMounted())
            folder.Point(m_disk.Path().wstring());
        return m_disk.IsMounted();
    }

    CSmallDisk m_disk{L""};
};
} // namespace

TEST_F(FullDiskTest, WhateverRoomIsLeftNoRecordIsLost) {
    if (!Use(L"QUORLINE_SMALL_DISK"))
        GTEST_SKIP() << "no small disk was mounted";
    const std::size_t step = IsSoak() ? 1 : 8;
    for (std::size_t room = 0; room <= 64; room += step) {
        m_disk.Clear();
        CInternalDocumentStore store(SomeGuid);
        std::wstring path;
        ASSERT_EQ(Attempt(store, L"first", "room on the disk", &path), S_OK);
        ASSERT_TRUE(CSmallDisk::Save(path, 2 * KiB));
        m_disk.Fill(room * KiB);
        int refused = 0;
        for (int i = 0; i < 60 && refused < 3; ++i) {
            const std::wstring name = L"document " + std::to_wstring(i) + std::wstring(100, L'n');
            if (Attempt(store, name, "the disk fills up", &path) == S_OK)
                CSmallDisk::Save(path, KiB);
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

        m_disk.MakeRoom();
        EXPECT_EQ(Attempt(store, L"last", "room again"), S_OK);
    }
    m_disk.Clear();
}

TEST_F(FullDiskTest, WithoutRoomForAnotherFileTheRecordIsWrittenInPlace) {
    if (!Use(L"QUORLINE_FEW_FILES_DISK"))
        GTEST_SKIP() << "no disk with few files was mounted";
    m_disk.Clear();
    CInternalDocumentStore store(SomeGuid);
    ASSERT_EQ(Attempt(store, L"first", "room on the disk"), S_OK);
    for (int i = 0; std::ofstream(m_disk.Path() / (L"filler " + std::to_wstring(i))); ++i)
        ASSERT_LT(i, 1000);
    EXPECT_EQ(Attempt(store, L"second", "no room for another file"), E_FAIL);
    EXPECT_TRUE(store.GetNameRefusal().starts_with(L"No file can be made in the document store: "))
        << store.GetNameRefusal();
    store.GetSavedDocumentList()->front()->SetStatus(TEMP_DOCUMENT_RECOVERED);
    EXPECT_EQ(store.WriteInfoFile(), S_OK);
    EXPECT_NE(Record(store)->find("\tTrue\t"), std::string::npos);
    EXPECT_EQ(NamesOnDisk(store), Names(store));
    m_disk.Clear();
    EXPECT_EQ(Attempt(store, L"third", "room again"), S_OK);
    m_disk.Clear();
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
