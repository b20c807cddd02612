// A document, the collection and the script state, through their interfaces. Proves SavedDocument,
// SavedDocumentCollection and ScriptState.

#include "AutomationFixture.h"

#include "FailingMemory.h"
#include "SavedDocumentCollection.h"
#include "ScriptState.h"
#include "SetRestoreDocument.h"

namespace {

using CStringProperty = HRESULT (STDMETHODCALLTYPE ISavedDocument::*)(BSTR*);

struct CPropertyCase {
    const char* name;
    CStringProperty getter;
    const wchar_t* value;
};

const CPropertyCase Properties[] = {
    {"Name", &ISavedDocument::get_Name, L"Doc1"},
    {"OriginalPath", &ISavedDocument::get_OriginalPath, L"C:\\docs\\Doc1"},
    {"TempPath", &ISavedDocument::get_TempPath, L"C:\\store\\Doc1"},
    {"AppExeName", &ISavedDocument::get_AppExeName, L""}, // copies of a record carry none
    {"AppFriendlyName", &ISavedDocument::get_AppFriendlyName, L"Editor1"},
    {"SaveScriptName", &ISavedDocument::get_SaveScriptName, L"save1.vbs"},
    {"RestoreScriptName", &ISavedDocument::get_RestoreScriptName, L"restore1.vbs"},
};

class SavedDocumentTest : public testing::Test {
protected:
    CComApartment apartment;
};

CComPtr<ISavedDocument> MakeDocument(const CInternalSavedDocument& record) {
    CComPtr<ISavedDocument> document;
    EXPECT_EQ(record.CreateSavedDocumentCOMObject(&document), S_OK);
    return document;
}

} // namespace

TEST_F(SavedDocumentTest, ComesWithOneReferenceForTheCaller) {
    const auto document = MakeDocument(MakeRecord(1));
    EXPECT_EQ(CountOf(document), 1u);
    EXPECT_EQ(MakeRecord(1).CreateSavedDocumentCOMObject(nullptr), E_POINTER);
}

TEST_F(SavedDocumentTest, WithoutMemoryForATextIsOutOfMemory) {
    const auto document = MakeDocument(MakeRecord(1));
    const CFailingMemory memory(0);
    CComBSTR path;
    EXPECT_EQ(document->get_TempPath(&path), E_OUTOFMEMORY);
    EXPECT_FALSE(path);
}

TEST_F(SavedDocumentTest, AnswersFromACopyOfItsRecord) {
    CInternalSavedDocument record = MakeRecord(1);
    const auto document = MakeDocument(record);
    record.SetDocName(L"changed");
    for (const CPropertyCase& property : Properties) {
        CComBSTR first;
        CComBSTR second;
        EXPECT_EQ((document.p->*property.getter)(&first), S_OK) << property.name;
        EXPECT_EQ((document.p->*property.getter)(&second), S_OK) << property.name;
        ASSERT_TRUE(first) << property.name;
        EXPECT_STREQ(first, property.value) << property.name;
        EXPECT_NE(first.m_str, second.m_str) << property.name;
    }
}

TEST_F(SavedDocumentTest, KeepsZerosInsideItsTexts) {
    CInternalSavedDocument record;
    record.SetDocName(std::wstring(L"a\0b", 3));
    CComBSTR name;
    EXPECT_EQ(MakeDocument(record)->get_Name(&name), S_OK);
    EXPECT_EQ(name.Length(), 3u);
}

TEST_F(SavedDocumentTest, RefusesANullPointerWithErrorInformation) {
    const auto document = MakeDocument(MakeRecord(1));
    const auto refuses = [](const char* name, HRESULT hr) {
        EXPECT_EQ(hr, E_POINTER) << name;
        const CErrorInformation error;
        ASSERT_TRUE(error.IsSet()) << name;
        EXPECT_EQ(error.Interface(), IID_ISavedDocument) << name;
    };
    for (const CPropertyCase& property : Properties)
        refuses(property.name, (document.p->*property.getter)(nullptr));
    refuses("IsRecovered", document->get_IsRecovered(nullptr));
    refuses("SaveTime", document->get_SaveTime(nullptr));
}

TEST_F(SavedDocumentTest, IsRecoveredOnlyWithStatusOne) {
    for (const unsigned status : {0u, 1u, 2u, 0xFFFFFFFFu}) {
        CInternalSavedDocument record;
        record.SetStatus(static_cast<TEMP_DOCUMENT_STATUS>(status));
        long recovered = -7;
        EXPECT_EQ(MakeDocument(record)->get_IsRecovered(&recovered), S_OK);
        EXPECT_EQ(recovered, status == 1 ? 1 : 0) << status;
    }
}

TEST_F(SavedDocumentTest, HasNoSaveTime) {
    SetErrorInfo(0, nullptr);
    CComVariant time(5L);
    EXPECT_EQ(MakeDocument(MakeRecord(1))->get_SaveTime(&time), E_NOTIMPL);
    EXPECT_EQ(time.lVal, 5);
    EXPECT_FALSE(CErrorInformation().IsSet());
}

TEST_F(SavedDocumentTest, CollectionCountsFromZeroInTheOrderOfItsItems) {
    CComPtr<ISavedDocumentCollection> docs;
    ASSERT_EQ(CSavedDocumentCollection::CreateInstance(&docs), S_OK);
    const CComPtr<ISavedDocument> items[] = {MakeDocument(MakeRecord(1)), MakeDocument(MakeRecord(2))};
    for (const auto& item : items)
        EXPECT_EQ(AppendToCollection(docs, item), S_OK);
    unsigned long count = 0;
    EXPECT_EQ(docs->get_Count(&count), S_OK);
    EXPECT_EQ(count, 2u);
    for (unsigned long i = 0; i < 2; ++i) {
        CComPtr<ISavedDocument> item;
        EXPECT_EQ(docs->get_Item(i, &item), S_OK);
        EXPECT_EQ(item.p, items[i].p);
        EXPECT_EQ(CountOf(item), 3u);
    }
    docs.Release();
    EXPECT_EQ(CountOf(items[0]), 1u);
}

TEST_F(SavedDocumentTest, CollectionFailsBareWithoutErrorInformation) {
    CComPtr<ISavedDocumentCollection> docs;
    ASSERT_EQ(CSavedDocumentCollection::CreateInstance(&docs), S_OK);
    AppendToCollection(docs, MakeDocument(MakeRecord(1)));
    SetErrorInfo(0, nullptr);
    CComPtr<ISavedDocument> item;
    EXPECT_EQ(docs->get_Item(1, &item), E_INVALIDARG);
    EXPECT_EQ(docs->get_Item(0xFFFFFFFF, &item), E_INVALIDARG);
    EXPECT_FALSE(item);
    EXPECT_EQ(docs->get_Item(0, nullptr), E_POINTER);
    EXPECT_EQ(docs->get_Count(nullptr), E_POINTER);
    EXPECT_FALSE(CErrorInformation().IsSet());
}

TEST_F(SavedDocumentTest, CollectionTakesDocumentsOnly) {
    CComPtr<ISavedDocumentCollection> docs;
    ASSERT_EQ(CSavedDocumentCollection::CreateInstance(&docs), S_OK);
    EXPECT_EQ(AppendToCollection(docs, nullptr), E_POINTER);
    EXPECT_EQ(AppendToCollection(nullptr, MakeDocument(MakeRecord(1))), E_NOINTERFACE);
}

TEST_F(SavedDocumentTest, EveryClassSupportsErrorInformationForItsOwnInterfaceOnly) {
    CComPtr<ISavedDocumentCollection> docs;
    CComPtr<IScriptState> state;
    ASSERT_EQ(CSavedDocumentCollection::CreateInstance(&docs), S_OK);
    ASSERT_EQ(CScriptState::CreateInstance(&state), S_OK);
    const std::pair<CComPtr<IUnknown>, IID> objects[] = {{MakeDocument(MakeRecord(1)).p, IID_ISavedDocument},
                                                         {docs.p, IID_ISavedDocumentCollection},
                                                         {state.p, IID_IScriptState}};
    for (const auto& [object, own] : objects) {
        const CComQIPtr<ISupportErrorInfo> support(object);
        ASSERT_TRUE(support);
        for (const IID& iid : {IID_ISavedDocument, IID_ISavedDocumentCollection, IID_IScriptState, IID_IDispatch})
            EXPECT_EQ(support->InterfaceSupportsErrorInfo(iid), iid == own ? S_OK : S_FALSE);
    }
}

TEST_F(SavedDocumentTest, PlaceholdersAreNotImplemented) {
    CComPtr<IScriptState> state;
    ASSERT_EQ(CScriptState::CreateInstance(&state), S_OK);
    CComBSTR user;
    EXPECT_EQ(state->get_CurrentUser(&user), E_NOTIMPL);
    EXPECT_EQ(state->get_CurrentUser(nullptr), E_NOTIMPL);
    EXPECT_FALSE(user);
    EXPECT_EQ(SetRestoreDocument(MakeRecord(1)), E_NOTIMPL);
}

class StoreCollections : public CAutomationTest {};

TEST_F(StoreCollections, HoldTheStoresDocumentsInTheirOrder) {
    CInternalDocumentStore store;
    std::wstring path;
    for (const wchar_t* name : {L"b.txt", L"a.txt", L"c.txt"})
        ASSERT_EQ(store.GetNewDocumentPath(name, nullptr, L"", path), S_OK);
    CComPtr<ISavedDocumentCollection> docs;
    ASSERT_EQ(store.CreateSavedDocumentCollectionCOMObject(&docs), S_OK);
    EXPECT_EQ(CountOf(docs), 1u);
    // A second helping goes behind the first.
    EXPECT_EQ(store.AddDocumentsToCOMCollection(docs), S_OK);
    unsigned long count = 0;
    docs->get_Count(&count);
    ASSERT_EQ(count, 6u);
    const wchar_t* const names[] = {L"b.txt", L"a.txt", L"c.txt", L"b.txt", L"a.txt", L"c.txt"};
    for (unsigned long i = 0; i < count; ++i) {
        CComPtr<ISavedDocument> item;
        CComBSTR name;
        ASSERT_EQ(docs->get_Item(i, &item), S_OK);
        EXPECT_EQ(CountOf(item), 2u);
        EXPECT_EQ(item->get_Name(&name), S_OK);
        EXPECT_STREQ(name, names[i]);
    }
}

TEST_F(StoreCollections, AreEmptyForAnEmptyStore) {
    CInternalDocumentStore store;
    CComPtr<ISavedDocumentCollection> docs;
    ASSERT_EQ(store.CreateSavedDocumentCollectionCOMObject(&docs), S_OK);
    unsigned long count = 7;
    EXPECT_EQ(docs->get_Count(&count), S_OK);
    EXPECT_EQ(count, 0u);
}

TEST_F(StoreCollections, RefuseNull) {
    CInternalDocumentStore store;
    EXPECT_EQ(store.CreateSavedDocumentCollectionCOMObject(nullptr), E_POINTER);
    EXPECT_EQ(store.AddDocumentsToCOMCollection(nullptr), E_POINTER);
}
