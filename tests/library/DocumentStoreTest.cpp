// A store as scripts see it, through its interface. Proves DocumentStore.

#include "AutomationFixture.h"

#include "FailingMemory.h"
#include "ImportHook.h"

#include "DocumentStore.h"
#include "base/Exceptions.h"

#include <cstdlib>
#include <new>

namespace {

class DocumentStoreTest : public CAutomationTest {
protected:
    void SetUp() override { ASSERT_EQ(store.CreateDocumentStoreCOMObject(&object), S_OK); }

    HRESULT GetNew(const wchar_t* name, const wchar_t* original, const VARIANT& extension) {
        path.Empty();
        return object->GetNew(CComBSTR(name), CComBSTR(original), extension, &path);
    }
    std::wstring FileName() const { return path ? std::filesystem::path(path.m_str).filename().wstring() : L""; }

    CInternalDocumentStore store;
    CComPtr<IDocumentStore> object;
    CComBSTR path;
};

const CComVariant Missing(DISP_E_PARAMNOTFOUND, VT_ERROR);

} // namespace

TEST_F(DocumentStoreTest, ComesWithOneReferenceForTheCaller) {
    EXPECT_EQ(CountOf(object), 1u);
    EXPECT_EQ(store.CreateDocumentStoreCOMObject(nullptr), E_POINTER);
}

TEST_F(DocumentStoreTest, IsTracedWhenCreated) {
    EXPECT_TRUE(log.Has(L"DEBUG Trace.CInternalDocumentStore: Entering -> "
                        L"[CInternalDocumentStore::CreateDocumentStoreCOMObject]"));
    EXPECT_TRUE(log.Has(L"DEBUG Trace.CInternalDocumentStore: Leaving  -> "
                        L"[CInternalDocumentStore::CreateDocumentStoreCOMObject]"));
}

TEST_F(DocumentStoreTest, SupportsErrorInformationForItsOwnInterfaceOnly) {
    const CComQIPtr<ISupportErrorInfo> support(object);
    ASSERT_TRUE(support);
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_IDocumentStore), S_OK);
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_IDispatch), S_FALSE);
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_ISavedDocument), S_FALSE);
}

TEST_F(DocumentStoreTest, HandsOutAPathAndLogsIt) {
    ASSERT_EQ(GetNew(L"Report.doc", L"C:\\docs\\Report.doc", Missing), S_OK);
    EXPECT_EQ(FileName(), L"Report.doc");
    EXPECT_TRUE(log.Has(L"DEBUG TalvinorGlobal: CDocumentStore::GetNew called with szDocName = Report.doc, "
                        L"szOriginalPath = C:\\docs\\Report.doc"));
    EXPECT_TRUE(log.Has(L"INFO TalvinorGlobal: New temp document created with path = " + std::wstring(path.m_str)));
}

TEST_F(DocumentStoreTest, ThePathIsTheCallersOwn) {
    ASSERT_EQ(GetNew(L"Report.doc", L"", Missing), S_OK);
    const std::wstring given = path.m_str;
    // Texts of its length would be put where it stands if it had been given back.
    const std::vector<CComBSTR> others(8, CComBSTR(std::wstring(given.size(), L'x').c_str()));
    EXPECT_STREQ(path.m_str, given.c_str());
}

TEST_F(DocumentStoreTest, TakesNamesThatAreNull) {
    ASSERT_EQ(object->GetNew(nullptr, nullptr, Missing, &path), S_OK);
    EXPECT_EQ(FileName(), L"Untitled");
    EXPECT_TRUE(log.Has(L"DEBUG TalvinorGlobal: CDocumentStore::GetNew called with szDocName = , szOriginalPath = "));
}

struct CExtensionCase {
    const char* name;
    CComVariant extension;
    const wchar_t* file;
};

class DocumentStoreExtension : public DocumentStoreTest, public testing::WithParamInterface<CExtensionCase> {};

TEST_P(DocumentStoreExtension, IsTakenInItsTextForm) {
    ASSERT_EQ(GetNew(L"Report", L"", GetParam().extension), S_OK);
    EXPECT_EQ(FileName(), GetParam().file);
}

INSTANTIATE_TEST_SUITE_P(All, DocumentStoreExtension,
                         testing::Values(CExtensionCase{"LeftOut", Missing, L"Report"},
                                         CExtensionCase{"Empty", CComVariant(), L"Report"},
                                         CExtensionCase{"Number", CComVariant(5L), L"Report.5"},
                                         CExtensionCase{"Fraction", CComVariant(2.5), L"Report.2.5"},
                                         CExtensionCase{"Text", CComVariant(L"txt"), L"Report.txt"},
                                         CExtensionCase{"Dotted", CComVariant(L".txt"), L"Report.txt"},
                                         CExtensionCase{"NoText", CComVariant(L""), L"Report"}),
                         [](const auto& info) { return info.param.name; });

TEST_F(DocumentStoreTest, FollowsAnExtensionGivenByReference) {
    CComVariant inner(L"doc");
    VARIANT reference;
    V_VT(&reference) = VT_BYREF | VT_VARIANT;
    V_VARIANTREF(&reference) = &inner;
    ASSERT_EQ(GetNew(L"Report", L"", reference), S_OK);
    EXPECT_EQ(FileName(), L"Report.doc");
    EXPECT_STREQ(inner.bstrVal, L"doc");
}

TEST_F(DocumentStoreTest, RefusesAnExtensionWithoutATextFormAndCreatesNothing) {
    SetErrorInfo(0, nullptr);
    CComVariant null;
    null.vt = VT_NULL;
    for (const CComVariant& extension : {null, CComVariant(static_cast<IDispatch*>(object)),
                                         CComVariant(static_cast<IUnknown*>(object)), CComVariant(5L, VT_ERROR)}) {
        log.Clear();
        EXPECT_TRUE(FAILED(GetNew(L"Report", L"", extension))) << extension.vt;
        EXPECT_FALSE(path);
        EXPECT_FALSE(CErrorInformation().IsSet()) << extension.vt;
        EXPECT_TRUE(log.Has(L"ERROR TalvinorGlobal: Invalid variant type for argument varFileExtension. Acceptable "
                            L"types are vtMissing and VT_BSTR"));
    }
    EXPECT_EQ(GetNew(L"Report", L"", null), DISP_E_TYPEMISMATCH);
    EXPECT_TRUE(store.GetSavedDocumentList()->empty());
    EXPECT_EQ(CountOf(object), 1u);
}

namespace {
void* NoLargeBlocks(std::size_t size) {
    if (size > 1'000'000)
        throw std::bad_alloc();
    return std::malloc(size);
}
} // namespace

TEST_F(DocumentStoreTest, AMessageThatThereIsNoMemoryForIsNoFailure) {
    CComBSTR message(std::wstring(200'000, L'{').c_str());
    const CImportHook hook(GetModuleHandleW(nullptr), "_Znwy", &NoLargeBlocks);
    EXPECT_EQ(object->LogMessage(2, &message), S_OK);
}

TEST_F(DocumentStoreTest, WithoutMemoryIsOutOfMemoryAndRaisesNothing) {
    int failures = 0;
    for (int blocks = 0; blocks < 1000; ++blocks) {
        CInternalDocumentStore fresh; // what a failure leaves in a store makes the next call longer
        CComPtr<IDocumentStore> target;
        ASSERT_EQ(fresh.CreateDocumentStoreCOMObject(&target), S_OK);
        const CComBSTR name((L"Report" + std::to_wstring(blocks)).c_str());
        const CComBSTR original(L"C:\\Report.doc");
        CComBSTR reserved;
        HRESULT hr = S_OK;
        {
            const CFailingMemory memory(blocks);
            EXPECT_NO_THROW(hr = target->GetNew(name, original, Missing, &reserved)) << blocks;
        }
        EXPECT_EQ(CountOf(target), 1u);
        if (SUCCEEDED(hr))
            break;
        ++failures;
    }
    EXPECT_GT(failures, 10);
    EXPECT_LT(failures, 1000);
}

TEST_F(DocumentStoreTest, RaisesWhenTheExtensionCannotBeCopied) {
    VARIANT broken;
    VariantInit(&broken);
    V_VT(&broken) = 0x0FFF;
    try {
        GetNew(L"Report", L"", broken);
        FAIL() << "nothing raised";
    } catch (const CAtlException& e) {
        EXPECT_EQ(e.m_hr, DISP_E_BADVARTYPE);
    }
}

TEST_F(DocumentStoreTest, PassesTheStoresFailureOnWithErrorInformation) {
    folder.Point(L"Q:\\no such drive");
    CInternalDocumentStore elsewhere;
    CComPtr<IDocumentStore> failing;
    ASSERT_EQ(elsewhere.CreateDocumentStoreCOMObject(&failing), S_OK);
    SetErrorInfo(0, nullptr);
    const HRESULT hr = failing->GetNew(CComBSTR(L"Report"), nullptr, Missing, &path);
    ASSERT_EQ(HRESULT_FACILITY(hr), FACILITY_WIN32);
    wchar_t expected[80];
    swprintf_s(expected, L"ERROR TalvinorGlobal: Call to GetNew failed with result code = 0x%x",
               static_cast<unsigned>(hr));
    EXPECT_TRUE(log.Has(expected));
    EXPECT_FALSE(path);
    const CErrorInformation error;
    ASSERT_TRUE(error.IsSet());
    EXPECT_EQ(error.Interface(), IID_IDocumentStore);
    EXPECT_NE(error.Text(&IErrorInfo::GetDescription), L"");
}

TEST_F(DocumentStoreTest, FailsWithoutAStoreOrAPlaceForThePath) {
    EXPECT_EQ(object->GetNew(nullptr, nullptr, Missing, nullptr), E_POINTER);
    CComPtr<IDocumentStore> orphan;
    ASSERT_EQ(CDocumentStore::CreateInstance(&orphan), S_OK);
    SetErrorInfo(0, nullptr);
    EXPECT_EQ(orphan->GetNew(nullptr, nullptr, Missing, &path), E_POINTER);
    const CErrorInformation error;
    ASSERT_TRUE(error.IsSet());
    EXPECT_EQ(error.Interface(), IID_IDocumentStore);
    EXPECT_EQ(orphan->VetoTransition(), E_POINTER);
}

TEST_F(DocumentStoreTest, IsCutOffFromAStoreThatIsGone) {
    CStateChange change;
    CComPtr<IDocumentStore> first;
    CComPtr<IDocumentStore> second;
    CComPtr<IDocumentStore> ofCopy;
    auto shortLived = std::make_unique<CInternalDocumentStore>();
    shortLived->SetStateChangeInstance(&change);
    ASSERT_EQ(shortLived->CreateDocumentStoreCOMObject(&first), S_OK);
    ASSERT_EQ(shortLived->CreateDocumentStoreCOMObject(&second), S_OK);
    CInternalDocumentStore copy(*shortLived);
    ASSERT_EQ(copy.CreateDocumentStoreCOMObject(&ofCopy), S_OK);
    ASSERT_EQ(first->GetNew(CComBSTR(L"a"), nullptr, Missing, &path), S_OK);
    path.Empty();
    shortLived.reset();

    for (const CComPtr<IDocumentStore>& each : {first, second, first}) {
        SetErrorInfo(0, nullptr);
        EXPECT_EQ(each->GetNew(CComBSTR(L"a"), nullptr, Missing, &path), E_POINTER);
        EXPECT_FALSE(path);
        const CErrorInformation error;
        ASSERT_TRUE(error.IsSet());
        EXPECT_EQ(error.Interface(), IID_IDocumentStore);
        EXPECT_EQ(each->VetoTransition(), E_POINTER);
        CComBSTR message(L"still here");
        log.Clear();
        EXPECT_EQ(each->LogMessage(2, &message), S_OK);
        EXPECT_TRUE(log.Has(L"INFO Quorline.Scripts: still here"));
    }
    EXPECT_EQ(change.vetoed, VARIANT_FALSE);
    EXPECT_THROW(static_cast<CComObject<CDocumentStore>*>(first.p)->SetInternalDocumentStore(&store),
                 CMorvaneException);

    // The copy lives, and so does its object; one that goes before its store leaves the others alone.
    EXPECT_EQ(ofCopy->VetoTransition(), S_OK);
    EXPECT_EQ(change.vetoed, VARIANT_TRUE);
    CComPtr<IDocumentStore> another;
    ASSERT_EQ(copy.CreateDocumentStoreCOMObject(&another), S_OK);
    ofCopy.Release();
    EXPECT_EQ(another->VetoTransition(), S_OK);
    copy.SetStateChangeInstance(nullptr);
    EXPECT_EQ(change.references, 1u);
}

TEST_F(DocumentStoreTest, SaysWhatIsWrongWithAName) {
    const std::pair<const wchar_t*, const wchar_t*> rows[] = {
        {L"..\\..\\x", L"The document name \"..\\..\\x.doc\" cannot be a file name: it contains \"\\\"."},
        {L"\u65e5\u672c?", L"The document name \"\u65e5\u672c?.doc\" cannot be a file name: it contains \"?\"."},
        {L"a\nb", L"The document name \"a b.doc\" cannot be a file name: it contains the control character U+000A."},
    };
    for (const auto& [name, description] : rows) {
        log.Clear();
        SetErrorInfo(0, nullptr);
        EXPECT_EQ(GetNew(name, L"", CComVariant(L"doc")), E_FAIL);
        EXPECT_TRUE(log.Has(L"ERROR TalvinorGlobal: Call to GetNew failed with result code = 0x80004005"));
        const CErrorInformation error;
        ASSERT_TRUE(error.IsSet());
        EXPECT_EQ(error.Interface(), IID_IDocumentStore);
        EXPECT_EQ(error.Text(&IErrorInfo::GetDescription), description);
        EXPECT_EQ(error.Text(&IErrorInfo::GetSource), L"");
    }
    EXPECT_TRUE(store.GetSavedDocumentList()->empty());
}

TEST_F(DocumentStoreTest, TakesItsStoreOnlyOnce) {
    log.Clear();
    EXPECT_THROW(static_cast<CComObject<CDocumentStore>*>(object.p)->SetInternalDocumentStore(&store),
                 CMorvaneException);
    EXPECT_TRUE(log.HasPrefix(L"ERROR TalvinorGlobal: Failed sanity test \"m_pIntStore is NULL\"; tested at "
                              L"DocumentStore.cpp; line "));
}

struct CLevelCase {
    unsigned short level;
    const wchar_t* name;
};

class DocumentStoreLevel : public DocumentStoreTest, public testing::WithParamInterface<CLevelCase> {};

TEST_P(DocumentStoreLevel, IsTheLevelOfTheLine) {
    CComBSTR message(L"saved");
    EXPECT_EQ(object->LogMessage(GetParam().level, &message), S_OK);
    EXPECT_TRUE(log.Has(std::wstring(GetParam().name) + L" Quorline.Scripts: saved"));
}

INSTANTIATE_TEST_SUITE_P(All, DocumentStoreLevel,
                         testing::Values(CLevelCase{0, L"ERROR"}, CLevelCase{1, L"WARN"}, CLevelCase{2, L"INFO"},
                                         CLevelCase{3, L"DEBUG"}, CLevelCase{4, L"WARN"}, CLevelCase{7, L"WARN"},
                                         CLevelCase{65535, L"WARN"}));

TEST_F(DocumentStoreTest, WritesNothingAtALevelThatIsOff) {
    const auto logger = log4cxx::Logger::getLogger(L"Quorline.Scripts");
    logger->setLevel(log4cxx::Level::getError());
    log.Clear();
    CComBSTR message(L"quiet");
    EXPECT_EQ(object->LogMessage(1, &message), S_OK);
    logger->setLevel(nullptr);
    EXPECT_TRUE(log.Get().empty());
}

TEST_F(DocumentStoreTest, LogsAMessageThatIsNullAsAnEmptyLine) {
    EXPECT_EQ(object->LogMessage(2, nullptr), S_OK);
    BSTR none = nullptr;
    EXPECT_EQ(object->LogMessage(2, &none), S_OK);
    EXPECT_EQ(std::ranges::count(log.Get(), L"INFO Quorline.Scripts: "), 2);
}

TEST_F(DocumentStoreTest, ReadsAMessageAsAFormatWithoutArguments) {
    for (const auto& [text, line] :
         {std::pair(L"100%", L"100%"), std::pair(L"a \\{ b", L"a { b"), std::pair(L"n={0:%d} m={1:%x}", L"n=0 m=0"),
          std::pair(L"{oops", L"{oops"), std::pair(L"{1:%d}", L"{1:%d}***formatting error***")}) {
        CComBSTR message(text);
        EXPECT_EQ(object->LogMessage(2, &message), S_OK);
        EXPECT_EQ(log.Get().back(), std::wstring(L"INFO Quorline.Scripts: ") + line);
    }
    CComBSTR pointer(L"who: {0:%s}");
    EXPECT_EQ(object->LogMessage(2, &pointer), S_OK);
    EXPECT_TRUE(log.HasPrefix(L"INFO Quorline.Scripts: who: "));
}

TEST_F(DocumentStoreTest, ReadsZerosForHoweverManyInsertsAMessageHolds) {
    for (const std::size_t count : {600u, 1025u, 200'000u}) {
        std::wstring format;
        for (std::size_t i = 0; i < count; ++i)
            format += L'{' + std::to_wstring(i) + L":%I64x}";
        CComBSTR message(format.c_str());
        EXPECT_EQ(object->LogMessage(2, &message), S_OK);
        EXPECT_TRUE(log.Get().back() == L"INFO Quorline.Scripts: " + std::wstring(count, L'0')) << count;
    }
}

TEST_F(DocumentStoreTest, LogsAMessageWhateverItsInsertsAskFor) {
    for (const auto& [text, line] :
         {std::pair(L"{0:%#049x}", std::wstring(49, L'0')), std::pair(L"{0:%.2200000d}", std::wstring(4095, L'0')),
          std::pair(L"{0:%s} {1:%S}", std::wstring(L"(null) (null)")),
          std::pair(L"{0:%n}", std::wstring(L"{0:%n}***formatting error***"))}) {
        CComBSTR message(text);
        EXPECT_EQ(object->LogMessage(0, &message), S_OK);
        EXPECT_EQ(log.Get().back(), L"ERROR Quorline.Scripts: " + line);
    }
}

TEST_F(DocumentStoreTest, VetoesTheStateChangeOfItsStore) {
    CStateChange change;
    store.SetStateChangeInstance(&change);
    const ULONG references = change.references;
    EXPECT_EQ(object->VetoTransition(), S_OK);
    EXPECT_EQ(change.vetoed, VARIANT_TRUE);
    EXPECT_EQ(change.references, references);
    store.SetStateChangeInstance(nullptr);
    EXPECT_EQ(change.references, 1u);
}

TEST_F(DocumentStoreTest, CannotVetoWithoutAStateChange) {
    EXPECT_EQ(object->VetoTransition(), E_FAIL);
}

TEST_F(DocumentStoreTest, ReportsAVetoThatTheHostRefuses) {
    CStateChange change;
    change.answer = E_ACCESSDENIED;
    store.SetStateChangeInstance(&change);
    const ULONG references = change.references;
    SetErrorInfo(0, nullptr);
    EXPECT_EQ(object->VetoTransition(), E_ACCESSDENIED);
    EXPECT_TRUE(log.HasPrefix(L"ERROR TalvinorGlobal: Failure HRESULT=0x80070005; \"Call to put_Vetoed failed.\"; at "
                              L"DocumentStore.cpp; line "));
    EXPECT_FALSE(CErrorInformation().IsSet());
    EXPECT_EQ(change.references, references);
    store.SetStateChangeInstance(nullptr);
}
