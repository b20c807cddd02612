// Dispatch calls of an object whose methods do what those of the library rarely do. Proves com/ScriptDispatch.h.

#include "com/ScriptDispatch.h"

#include "base/StackLimit.h"

#include "ComApartment.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

namespace {

class CCountedCollection : public CComObjectRootEx<CComSingleThreadModel>,
                           public CScriptDispatch<ISavedDocumentCollection, &IID_ISavedDocumentCollection> {
public:
    BEGIN_COM_MAP(CCountedCollection)
    COM_INTERFACE_ENTRY(ISavedDocumentCollection)
    COM_INTERFACE_ENTRY(IDispatch)
    END_COM_MAP()

    STDMETHODIMP get_Item(unsigned long index, ISavedDocument** item) override {
        lastIndex = index;
        *item = nullptr;
        return S_OK;
    }
    STDMETHODIMP get_Count(unsigned long* result) override {
        if (beforeCount)
            beforeCount();
        *result = count;
        return S_OK;
    }

    std::function<void()> beforeCount;
    unsigned long count = 0;
    unsigned long lastIndex = 0;
};

class ScriptDispatch : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(CComObjectNoLock<CCountedCollection>::CreateInstance(&object), S_OK);
        owner = object;
    }
    HRESULT Invoke(DISPID member, WORD flags, DISPPARAMS params, VARIANT* result) {
        return owner->Invoke(member, IID_NULL, LOCALE_USER_DEFAULT, flags, &params, result, nullptr, nullptr);
    }
    HRESULT Count(VARIANT* result) { return Invoke(2, DISPATCH_PROPERTYGET, {}, result); }

    CComApartment apartment;
    CComObjectNoLock<CCountedCollection>* object = nullptr;
    CComPtr<ISavedDocumentCollection> owner;
};

} // namespace

TEST_F(ScriptDispatch, HandsOutUnsignedNumbersAsScriptsCanCountWithThem) {
    CComVariant result;
    object->count = 0x7FFFFFFF;
    EXPECT_EQ(Count(&result), S_OK);
    EXPECT_EQ(result.vt, VT_I4);
    EXPECT_EQ(result.lVal, 0x7FFFFFFF);
    object->count = 0x80000000;
    EXPECT_EQ(Count(&result), S_OK);
    EXPECT_EQ(result.vt, VT_R8);
    EXPECT_EQ(result.dblVal, 2147483648.0);
}

TEST_F(ScriptDispatch, LetsAPropertyBeReadAsAMethodAndWithoutAResult) {
    CComVariant result;
    EXPECT_EQ(Invoke(2, DISPATCH_METHOD, {}, &result), S_OK);
    EXPECT_EQ(result.vt, VT_I4);
    EXPECT_EQ(Count(nullptr), S_OK);
}

TEST_F(ScriptDispatch, FollowsAVariableToItsValue) {
    CComVariant variable(L"7");
    VARIANT reference;
    V_VT(&reference) = VT_BYREF | VT_VARIANT;
    V_VARIANTREF(&reference) = &variable;
    CComVariant result;
    EXPECT_EQ(Invoke(1, DISPATCH_METHOD | DISPATCH_PROPERTYGET, {&reference, nullptr, 1, 0}, &result), S_OK);
    EXPECT_EQ(object->lastIndex, 7u);
    EXPECT_STREQ(variable.bstrVal, L"7");
    EXPECT_EQ(V_VT(&reference), VT_BYREF | VT_VARIANT);
}

TEST_F(ScriptDispatch, TurnsAnExceptionIntoItsCode) {
    const std::pair<std::function<void()>, HRESULT> cases[] = {
        {[] { throw std::bad_alloc(); }, E_OUTOFMEMORY},
        {[] { AtlThrow(DISP_E_BADVARTYPE); }, DISP_E_BADVARTYPE},
        {[] { throw std::runtime_error("anything"); }, E_FAIL},
    };
    for (const auto& [thrown, code] : cases) {
        object->beforeCount = thrown;
        CComVariant result;
        EXPECT_EQ(Count(&result), code);
        EXPECT_EQ(result.vt, VT_EMPTY);
    }
}

TEST_F(ScriptDispatch, RefusesACallWithoutParameters) {
    EXPECT_EQ(owner->Invoke(2, IID_NULL, 0, DISPATCH_PROPERTYGET, nullptr, nullptr, nullptr, nullptr), E_POINTER);
}

namespace {
/// Calls once little stack is left.
[[gnu::noinline]] HRESULT CallAtTheEndOfTheStack(const std::function<HRESULT()>& call) {
    volatile char used[1024];
    used[0] = 1;
    const HRESULT result = HasStackForCall() ? CallAtTheEndOfTheStack(call) : call();
    return used[0] == 1 ? result : E_UNEXPECTED;
}
} // namespace

TEST_F(ScriptDispatch, ACallOnAStackThatIsNearlyUsedUpIsRefused) {
    bool entered = false;
    object->beforeCount = [&] { entered = true; };
    CComVariant count;
    EXPECT_EQ(CallAtTheEndOfTheStack([&] { return Count(&count); }), HRESULT_FROM_WIN32(ERROR_STACK_OVERFLOW));
    EXPECT_FALSE(entered);
    EXPECT_EQ(Count(&count), S_OK);
    EXPECT_TRUE(entered);
}
