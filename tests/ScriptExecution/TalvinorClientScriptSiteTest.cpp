// Proves what an engine is told and what it may tell: TalvinorClientScriptSite.

#include "ScriptExecution/TalvinorClientScriptSite.h"

#include "RunnerFixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// An engine's error with what a test puts into it.
class CErrorObject : public CComObjectRootEx<CComSingleThreadModel>, public IActiveScriptError {
public:
    BEGIN_COM_MAP(CErrorObject)
    COM_INTERFACE_ENTRY(IActiveScriptError)
    END_COM_MAP()

    STDMETHODIMP GetExceptionInfo(EXCEPINFO* info) override {
        *info = EXCEPINFO{};
        if (SUCCEEDED(exceptionResult)) {
            info->bstrSource = SysAllocString(source);
            info->bstrDescription = SysAllocString(description);
        }
        return exceptionResult;
    }
    STDMETHODIMP GetSourcePosition(DWORD* context, ULONG* line, LONG* character) override {
        if (SUCCEEDED(positionResult)) {
            *context = 9;
            *line = 4'000'000'000UL;
            *character = -7;
        }
        return positionResult;
    }
    STDMETHODIMP GetSourceLineText(BSTR*) override { return E_NOTIMPL; }

    const wchar_t* source = nullptr;
    const wchar_t* description = nullptr;
    HRESULT exceptionResult = S_OK;
    HRESULT positionResult = S_OK;
};

class ScriptSiteTest : public RunnerFixture {
protected:
    ScriptSiteTest() {
        CComObjectNoLock<CTalvinorClientScriptSite>* site = nullptr;
        CComObjectNoLock<CTalvinorClientScriptSite>::CreateInstance(&site);
        m_site = static_cast<IActiveScriptSite*>(site);
        site->SetScriptRunner(&m_runner);
        CComObjectNoLock<CErrorObject>* error = nullptr;
        CComObjectNoLock<CErrorObject>::CreateInstance(&error);
        m_error = error;
    }

    CComPtr<IActiveScriptSite> m_site;
    CComPtr<CComObjectNoLock<CErrorObject>> m_error;
};

TEST_F(ScriptSiteTest, AnswersForItsTwoInterfacesAsOneObject) {
    CComPtr<ITalvinorScriptSite> marker;
    ASSERT_EQ(m_site.QueryInterface(&marker), S_OK);
    CComPtr<IActiveScriptSite> back;
    ASSERT_EQ(marker.QueryInterface(&back), S_OK);
    EXPECT_EQ(back.p, m_site.p);
    EXPECT_TRUE(m_site.IsEqualObject(marker));
    LPOLESTR text = nullptr;
    StringFromIID(__uuidof(ITalvinorScriptSite), &text);
    EXPECT_STREQ(text, L"{F5B74E2C-584B-4DE1-A9C6-292892C3A465}");
    CoTaskMemFree(text);
    CComPtr<IDispatch> dispatch;
    EXPECT_EQ(m_site.QueryInterface(&dispatch), E_NOINTERFACE);
}

TEST_F(ScriptSiteTest, DeclinesWhatItDoesNotNeed) {
    EXPECT_EQ(m_site->GetLCID(nullptr), E_NOTIMPL);
    EXPECT_EQ(m_site->GetDocVersionString(nullptr), E_NOTIMPL);
    EXPECT_EQ(m_site->OnScriptTerminate(nullptr, nullptr), E_NOTIMPL);
    EXPECT_EQ(m_site->OnStateChange(SCRIPTSTATE_CONNECTED), E_NOTIMPL);
    EXPECT_EQ(m_site->OnEnterScript(), E_NOTIMPL);
    EXPECT_EQ(m_site->OnLeaveScript(), E_NOTIMPL);
}

TEST_F(ScriptSiteTest, HandsOutWhatTheMaskAsksFor) {
    m_runner.AddNamedItem(L"Session", m_probe);
    auto* const untouched = reinterpret_cast<ITypeInfo*>(0x10);
    for (const DWORD mask : {0UL, 1UL, 2UL, 3UL, 0xFFFFFFFFUL}) {
        CComPtr<IUnknown> item;
        ITypeInfo* info = untouched;
        EXPECT_EQ(m_site->GetItemInfo(L"Session", mask, &item, &info), S_OK);
        EXPECT_EQ(item.p, (mask & 1) != 0 ? m_probe.p : nullptr);
        EXPECT_EQ(info, (mask & 2) != 0 ? nullptr : untouched);
        EXPECT_EQ(m_probe->References(), (mask & 1) != 0 ? 3U : 2U);
    }
    EXPECT_EQ(m_site->GetItemInfo(L"Session", 0, nullptr, nullptr), S_OK);
    CComPtr<IUnknown> item;
    EXPECT_EQ(m_site->GetItemInfo(L"Session", SCRIPTINFO_IUNKNOWN, &item, nullptr), S_OK);
}

TEST_F(ScriptSiteTest, AnUnknownNameIsNotFoundAndTouchesNothing) {
    auto* item = reinterpret_cast<IUnknown*>(0x10);
    auto* info = reinterpret_cast<ITypeInfo*>(0x20);
    for (const wchar_t* name : {L"Session", L"", static_cast<const wchar_t*>(nullptr)})
        EXPECT_EQ(m_site->GetItemInfo(name, 3, &item, &info), TYPE_E_ELEMENTNOTFOUND);
    EXPECT_EQ(item, reinterpret_cast<IUnknown*>(0x10));
    EXPECT_EQ(info, reinterpret_cast<ITypeInfo*>(0x20));
}

TEST_F(ScriptSiteTest, ANullErrorIsRefused) {
    EXPECT_EQ(m_site->OnScriptError(nullptr), E_INVALIDARG);
    EXPECT_FALSE(m_runner.HasError());
}

TEST_F(ScriptSiteTest, AnErrorIsRecordedAndLoggedAsTheEngineTellsIt) {
    m_error->source = L"engine %s";
    m_error->description = L"wrong {1:%d}";
    EXPECT_EQ(m_site->OnScriptError(m_error), S_OK);
    EXPECT_EQ(Error(), (CErrorRecord{L"engine %s", L"wrong {1:%d}", 4'000'000'000UL, -7}));
    EXPECT_THAT(m_log.Take(),
                ElementsAre(L"ERROR ScriptExecution.TalvinorClientScriptSite: Scripting error: Source = engine %s, "
                            L"Description = wrong {1:%d}, Line = 4000000000, Char = -7"));
}

TEST_F(ScriptSiteTest, MissingTextsAreEmpty) {
    EXPECT_EQ(m_site->OnScriptError(m_error), S_OK);
    EXPECT_EQ(Error(), (CErrorRecord{L"", L"", 4'000'000'000UL, -7}));
    EXPECT_THAT(m_log.Take(),
                ElementsAre(L"ERROR ScriptExecution.TalvinorClientScriptSite: Scripting error: Source = , "
                            L"Description = , Line = 4000000000, Char = -7"));
}

TEST_F(ScriptSiteTest, AnErrorWithoutInformationIsNotRecorded) {
    m_error->exceptionResult = E_ACCESSDENIED;
    EXPECT_EQ(m_site->OnScriptError(m_error), E_ACCESSDENIED);
    EXPECT_FALSE(m_runner.HasError());
    EXPECT_THAT(m_log.Take(), IsEmpty());
}

TEST_F(ScriptSiteTest, AnErrorWithoutAPlaceIsRecordedAtZeroAndReturnsWhy) {
    m_error->source = L"engine";
    m_error->positionResult = E_UNEXPECTED;
    EXPECT_EQ(m_site->OnScriptError(m_error), E_UNEXPECTED);
    EXPECT_EQ(Error(), (CErrorRecord{L"engine", L"", 0, 0}));
}

} // namespace
