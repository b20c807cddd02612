// Proves a store's directory, identifier and host's change: InternalDocumentStore.

#include "InternalDocumentStore.h"

#include "ProcessUse.h"
#include "StoreFixture.h"
#include "StorePeer.h"
#include "logging/Logging.h"

using testing::IsEmpty;

namespace {
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
    const DWORD before = HandlesInUse();
    for (int i = 0; i < 100; ++i)
        CInternalDocumentStore::GetBaseDirectory(base);
    EXPECT_LE(HandlesInUse(), before + 2);
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
