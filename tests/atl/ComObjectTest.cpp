// Objects: creation, counting, interfaces, dispatch. Proves atl/atlcom.h.

#include "TestObjects.h"

#include <gtest/gtest.h>

namespace {

class ComObject : public testing::Test {
protected:
    void SetUp() override { TestModule(); }
    void TearDown() override {
        CTestState::construct = nullptr;
        EXPECT_EQ(CTestState::alive, 0);
        EXPECT_EQ(TestModule().GetLockCount(), 0);
    }
};

/// Whether the last reference goes now.
ULONG CountOf(IUnknown* object) {
    object->AddRef();
    return object->Release();
}

} // namespace

TEST_F(ComObject, LivesAsLongAsItsReferencesAndKeepsTheModule) {
    const int released = CTestState::finalReleases;
    CComPtr<IScriptState> state;
    ASSERT_EQ(CTestState::CreateInstance(&state), S_OK);
    EXPECT_EQ(CountOf(state), 1u);
    EXPECT_EQ(TestModule().GetLockCount(), 1);
    EXPECT_EQ(TestModule().DllCanUnloadNow(), S_FALSE);
    state.Release();
    EXPECT_EQ(CTestState::alive, 0);
    EXPECT_EQ(CTestState::finalReleases, released + 1);
    EXPECT_EQ(TestModule().DllCanUnloadNow(), S_OK);
}

TEST_F(ComObject, NoLockObjectsDoNotKeepTheModule) {
    CComPtr<IScriptState> state;
    ASSERT_EQ(CComCreator<CComObjectNoLock<CTestState>>::CreateInstance(nullptr, IID_IScriptState,
                                                                        reinterpret_cast<void**>(&state)),
              S_OK);
    EXPECT_EQ(TestModule().GetLockCount(), 0);
    EXPECT_EQ(CountOf(state), 1u);
}

TEST_F(ComObject, IsMadeWithoutAReferenceByItsOwnCreateInstance) {
    CComObject<CTestState>* raw = nullptr;
    ASSERT_EQ(::CComObject<CTestState>::CreateInstance(&raw), S_OK);
    EXPECT_EQ(CTestState::alive, 1);
    const CComPtr<IScriptState> state(raw);
    EXPECT_EQ(CountOf(state), 1u);
    EXPECT_EQ(::CComObject<CTestState>::CreateInstance(nullptr), E_POINTER);
}

TEST_F(ComObject, EveryInterfaceNamesTheSameIdentity) {
    CComPtr<IScriptState> state;
    ASSERT_EQ(CTestState::CreateInstance(&state), S_OK);
    const CComQIPtr<ISupportErrorInfo> errors(state);
    const CComQIPtr<IDispatch> dispatch(state);
    ASSERT_TRUE(errors);
    ASSERT_TRUE(dispatch);
    EXPECT_NE(static_cast<void*>(errors.p), static_cast<void*>(state.p));
    EXPECT_TRUE(state.IsEqualObject(errors));
    EXPECT_TRUE(state.IsEqualObject(dispatch));
    EXPECT_EQ(CountOf(state), 3u);
    EXPECT_EQ(errors->InterfaceSupportsErrorInfo(IID_IScriptState), S_OK);
    EXPECT_EQ(errors->InterfaceSupportsErrorInfo(IID_IDispatch), S_FALSE);
}

TEST_F(ComObject, RefusesAnInterfaceThatItDoesNotHave) {
    CComPtr<IScriptState> state;
    ASSERT_EQ(CTestState::CreateInstance(&state), S_OK);
    void* out = &out;
    EXPECT_EQ(state->QueryInterface(IID_IPersist, &out), E_NOINTERFACE);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(state->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    CComPtr<IErrorInfo> refused;
    EXPECT_EQ(CTestState::CreateInstance(&refused), E_NOINTERFACE);
    EXPECT_EQ(CTestState::alive, 1);
}

TEST_F(ComObject, RefusesAnOuterObject) {
    CComPtr<IScriptState> outer;
    ASSERT_EQ(CTestState::CreateInstance(&outer), S_OK);
    CComPtr<IUnknown> inner;
    EXPECT_EQ(CTestState::CreateInstance(outer, &inner), CLASS_E_NOAGGREGATION);
    EXPECT_FALSE(inner);
    EXPECT_EQ(CTestState::alive, 1);
}

TEST_F(ComObject, AFailedFinalConstructLeavesNothing) {
    CTestState::construct = [](IUnknown*) { return E_ACCESSDENIED; };
    CComPtr<IScriptState> state;
    EXPECT_EQ(CTestState::CreateInstance(&state), E_ACCESSDENIED);
    EXPECT_FALSE(state);
    EXPECT_EQ(CTestState::alive, 0);
}

TEST_F(ComObject, AnExceptionFromFinalConstructLeavesNothing) {
    CTestState::construct = [](IUnknown*) -> HRESULT { AtlThrow(E_OUTOFMEMORY); };
    CComPtr<IScriptState> state;
    EXPECT_THROW(CTestState::CreateInstance(&state), CAtlException);
    EXPECT_FALSE(state);
}

TEST_F(ComObject, SurvivesItsOwnQueriesDuringFinalConstruct) {
    CTestState::construct = [](IUnknown* self) { return CComQIPtr<IDispatch>(self) ? S_OK : E_FAIL; };
    CComPtr<IScriptState> state;
    ASSERT_EQ(CTestState::CreateInstance(&state), S_OK);
    EXPECT_EQ(CountOf(state), 1u);
}

TEST_F(ComObject, DispatchesThroughTheTypeLibraryOfItsOwnModule) {
    CComPtr<IScriptState> state;
    ASSERT_EQ(CTestState::CreateInstance(&state), S_OK);
    UINT count = 0;
    EXPECT_EQ(state->GetTypeInfoCount(&count), S_OK);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(state->GetTypeInfoCount(nullptr), E_POINTER);

    CComPtr<ITypeInfo> info;
    EXPECT_EQ(state->GetTypeInfo(1, LOCALE_USER_DEFAULT, &info), DISP_E_BADINDEX);
    ASSERT_EQ(state->GetTypeInfo(0, LOCALE_USER_DEFAULT, &info), S_OK);
    CComPtr<ITypeInfo> again;
    ASSERT_EQ(state->GetTypeInfo(0, LOCALE_USER_DEFAULT, &again), S_OK);
    EXPECT_EQ(info.p, again.p);

    OLECHAR name[] = L"currentuser";
    OLECHAR wrong[] = L"nobody";
    LPOLESTR names[] = {name};
    LPOLESTR wrongNames[] = {wrong};
    DISPID id = DISPID_UNKNOWN;
    ASSERT_EQ(state->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id), S_OK);
    EXPECT_EQ(id, 1);
    DISPPARAMS none{};
    CComVariant result;
    ASSERT_EQ(state->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, &result, nullptr, nullptr),
              S_OK);
    EXPECT_STREQ(result.bstrVal, L"somebody");
    EXPECT_EQ(state->GetIDsOfNames(IID_NULL, wrongNames, 1, LOCALE_USER_DEFAULT, &id), DISP_E_UNKNOWNNAME);
}
