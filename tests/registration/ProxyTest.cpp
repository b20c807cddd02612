// Calls from another apartment, through the registered proxies and stubs. Proves the proxies of idl/Quorline.idl.

#include "Registration.h"

#include "DocumentsFolder.h"
#include "InternalDocumentStore.h"
#include "InternalRestoreScriptArgs.h"
#include "Quorline.h"

#include <atlbase.h>

#include <gtest/gtest.h>

#include <functional>
#include <thread>

namespace {

/// Runs `call` with the object in another apartment, while this one serves the calls that come back from there.
template <class T> void CallFromElsewhere(T* object, const std::function<void(T*)>& call) {
    CComPtr<IStream> stream;
    ASSERT_EQ(CoMarshalInterThreadInterfaceInStream(__uuidof(T), object, &stream), S_OK);
    const CUniqueHandle done(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    std::thread other([&, raw = stream.Detach()] {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        {
            CComPtr<T> proxy;
            EXPECT_EQ(CoGetInterfaceAndReleaseStream(raw, __uuidof(T), reinterpret_cast<void**>(&proxy)), S_OK);
            if (proxy) {
                EXPECT_NE(proxy.p, object);
                call(proxy);
            }
        }
        CoUninitialize();
        SetEvent(done.Get());
    });
    HANDLE handle = done.Get();
    DWORD index = 0;
    EXPECT_EQ(CoWaitForMultipleHandles(0, 30000, 1, &handle, &index), S_OK);
    other.join();
}

class Proxies : public testing::Test {
protected:
    Proxies() { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
    ~Proxies() override { CoUninitialize(); }

    static ULONG CountOf(IUnknown* object) {
        object->AddRef();
        return object->Release();
    }

    const CRegistered registered;
    CDocumentsFolder folder;
};

} // namespace

TEST_F(Proxies, CarryReservationsMessagesAndVetoes) {
    CInternalDocumentStore store;
    CComPtr<IDocumentStore> object;
    ASSERT_EQ(store.CreateDocumentStoreCOMObject(&object), S_OK);
    CallFromElsewhere<IDocumentStore>(object, [&](IDocumentStore* proxy) {
        CComBSTR path;
        EXPECT_EQ(proxy->GetNew(CComBSTR(L"Report"), CComBSTR(L"C:\\Report"), CComVariant(5L), &path), S_OK);
        EXPECT_TRUE(path && std::wstring(path).ends_with(L"\\Report.5"));
        const CComVariant missing(DISP_E_PARAMNOTFOUND, VT_ERROR);
        EXPECT_EQ(proxy->GetNew(CComBSTR(L"a.doc"), nullptr, missing, &path), S_OK);
        EXPECT_TRUE(path && std::wstring(path).ends_with(L"\\a.doc"));
        CComBSTR message(L"from another apartment");
        EXPECT_EQ(proxy->LogMessage(2, &message), S_OK);
        EXPECT_STREQ(message, L"from another apartment");
        EXPECT_EQ(proxy->VetoTransition(), E_FAIL);
        CComVariant null;
        null.vt = VT_NULL;
        EXPECT_EQ(proxy->GetNew(CComBSTR(L"b"), nullptr, null, &path), DISP_E_TYPEMISMATCH);
    });
    EXPECT_EQ(store.GetSavedDocumentList()->size(), 2u);
    EXPECT_EQ(CountOf(object), 1u);
}

TEST_F(Proxies, CarryErrorInformation) {
    folder.Point(L"Q:\\no such drive");
    CInternalDocumentStore store;
    CComPtr<IDocumentStore> object;
    ASSERT_EQ(store.CreateDocumentStoreCOMObject(&object), S_OK);
    CallFromElsewhere<IDocumentStore>(object, [&](IDocumentStore* proxy) {
        CComBSTR path;
        EXPECT_TRUE(FAILED(proxy->GetNew(CComBSTR(L"Report"), nullptr, CComVariant(), &path)));
        EXPECT_FALSE(path);
        const CComQIPtr<ISupportErrorInfo> support(proxy);
        ASSERT_TRUE(support);
        EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_IDocumentStore), S_OK);
    });
}

TEST_F(Proxies, CarryCollectionsAndTheirDocuments) {
    CInternalDocumentStore store;
    std::wstring path;
    for (const wchar_t* name : {L"one.txt", L"two.txt"})
        ASSERT_EQ(store.GetNewDocumentPath(name, L"C:\\original", L"", path), S_OK);
    CComPtr<ISavedDocumentCollection> docs;
    ASSERT_EQ(store.CreateSavedDocumentCollectionCOMObject(&docs), S_OK);
    CallFromElsewhere<ISavedDocumentCollection>(docs, [&](ISavedDocumentCollection* proxy) {
        unsigned long count = 0;
        EXPECT_EQ(proxy->get_Count(&count), S_OK);
        EXPECT_EQ(count, 2u);
        CComPtr<ISavedDocument> document;
        EXPECT_EQ(proxy->get_Item(2, &document), E_INVALIDARG);
        ASSERT_EQ(proxy->get_Item(1, &document), S_OK);
        CComBSTR text;
        EXPECT_EQ(document->get_Name(&text), S_OK);
        EXPECT_STREQ(text, L"two.txt");
        text.Empty();
        EXPECT_EQ(document->get_TempPath(&text), S_OK);
        EXPECT_EQ(std::wstring(text), path);
        long recovered = -1;
        EXPECT_EQ(document->get_IsRecovered(&recovered), S_OK);
        EXPECT_EQ(recovered, 0);
        CComVariant time;
        EXPECT_EQ(document->get_SaveTime(&time), E_NOTIMPL);
    });
    EXPECT_EQ(CountOf(docs), 1u);
}

TEST_F(Proxies, CarryTheFailureOfEmptyArguments) {
    CComPtr<ITalvinorRestoreScriptArgs> args;
    ASSERT_EQ(CInternalRestoreScriptArgs::CreateRestoreArgsCOMObject(&args), S_OK);
    CallFromElsewhere<ITalvinorRestoreScriptArgs>(args, [](ITalvinorRestoreScriptArgs* proxy) {
        CComPtr<ISavedDocumentCollection> docs;
        EXPECT_EQ(proxy->get_RestoreDocuments(&docs), E_FAIL);
        EXPECT_FALSE(docs);
    });
    EXPECT_EQ(CountOf(args), 1u);
}

TEST_F(Proxies, CarryDispatchCalls) {
    CInternalDocumentStore store;
    CComPtr<IDocumentStore> object;
    ASSERT_EQ(store.CreateDocumentStoreCOMObject(&object), S_OK);
    const CComQIPtr<IDispatch> dispatch(object);
    CallFromElsewhere<IDispatch>(dispatch, [](IDispatch* proxy) {
        CComVariant arguments[] = {CComVariant(L"C:\\x"), CComVariant(L"late.txt")};
        DISPPARAMS params{arguments, nullptr, 2, 0};
        CComVariant path;
        EXPECT_EQ(proxy->Invoke(1, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &params, &path, nullptr, nullptr),
                  S_OK);
        ASSERT_EQ(path.vt, VT_BSTR);
        EXPECT_TRUE(std::wstring(path.bstrVal).ends_with(L"\\late.txt"));
    });
    EXPECT_EQ(store.GetSavedDocumentList()->size(), 1u);
}
