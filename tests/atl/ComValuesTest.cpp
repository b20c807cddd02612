// The owners of interface pointers, BSTRs, VARIANTs and SAFEARRAYs. Proves atl/atlcomcli.h and atlsafe.h.

#include <atlbase.h>
#include <atlsafe.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

/// An object on the stack that counts its references and never dies.
class CCounted : public IErrorInfo {
public:
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        if (iid != IID_IUnknown && iid != IID_IErrorInfo)
            return E_NOINTERFACE;
        *object = this;
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++count; }
    STDMETHODIMP_(ULONG) Release() override { return --count; }
    STDMETHODIMP GetGUID(GUID*) override { return E_NOTIMPL; }
    STDMETHODIMP GetSource(BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP GetDescription(BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP GetHelpFile(BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP GetHelpContext(DWORD*) override { return E_NOTIMPL; }

    ULONG count = 0;
};

HRESULT CodeOf(const auto& call) {
    try {
        call();
    } catch (const CAtlException& e) {
        return e;
    }
    return S_OK;
}

} // namespace

TEST(ComPtr, HoldsOneReferenceForEachPointer) {
    CCounted object;
    {
        CComPtr<IErrorInfo> first(&object);
        CComPtr<IErrorInfo> second = first;
        EXPECT_EQ(object.count, 2u);
        CComPtr<IErrorInfo> third = std::move(second);
        EXPECT_EQ(object.count, 2u);
        EXPECT_FALSE(second);
        third = first;
        EXPECT_EQ(object.count, 2u);
        third = third.p;
        EXPECT_EQ(object.count, 2u);
        third.Release();
        third.Release();
        EXPECT_EQ(object.count, 1u);
    }
    EXPECT_EQ(object.count, 0u);
}

TEST(ComPtr, AttachAndDetachMoveTheReference) {
    CCounted object;
    CComPtr<IErrorInfo> pointer(&object);
    IErrorInfo* const raw = pointer.Detach();
    EXPECT_EQ(object.count, 1u);
    pointer.Attach(raw);
    EXPECT_EQ(object.count, 1u);
    IErrorInfo* copy = nullptr;
    EXPECT_EQ(pointer.CopyTo(&copy), S_OK);
    EXPECT_EQ(object.count, 2u);
    pointer.Attach(copy);
    EXPECT_EQ(object.count, 1u);
    EXPECT_EQ(pointer.CopyTo(nullptr), E_POINTER);
}

TEST(ComPtr, QueriesAndComparesObjects) {
    CCounted object;
    CCounted other;
    {
        const CComQIPtr<IErrorInfo> found(static_cast<IUnknown*>(&object));
        EXPECT_TRUE(found);
        const CComQIPtr<IDispatch> missing(static_cast<IUnknown*>(&object));
        EXPECT_FALSE(missing);
        EXPECT_TRUE(found.IsEqualObject(&object));
        EXPECT_FALSE(found.IsEqualObject(&other));
        EXPECT_FALSE(found.IsEqualObject(nullptr));
        EXPECT_TRUE(missing.IsEqualObject(nullptr));
    }
    EXPECT_EQ(object.count, 0u);
    EXPECT_EQ(other.count, 0u);
}

TEST(ComBstr, KeepsNullApartAndComparesItAsEmpty) {
    const CComBSTR none;
    EXPECT_FALSE(none);
    EXPECT_EQ(none.Copy(), nullptr);
    EXPECT_EQ(none.Length(), 0u);
    EXPECT_TRUE(none == L"");
    const CComBSTR fromNull(static_cast<const wchar_t*>(nullptr));
    EXPECT_TRUE(!fromNull);
    BSTR copy = CComBSTR(L"x").Detach();
    EXPECT_EQ(none.CopyTo(&copy), S_OK); // what stood there was the caller's to free
    EXPECT_EQ(copy, nullptr);
}

TEST(ComBstr, CopiesWithEmbeddedZeros) {
    const CComBSTR text(3, L"a\0b");
    const CComBSTR copy = text;
    EXPECT_EQ(copy.Length(), 3u);
    EXPECT_EQ(copy.m_str[2], L'b');
    EXPECT_NE(copy.m_str, text.m_str);
}

TEST(ComBstr, AppendsAssignsAndMoves) {
    CComBSTR text(L"ab");
    EXPECT_EQ(text.Append(L"cd"), S_OK);
    EXPECT_EQ(text.Append(nullptr), S_OK);
    EXPECT_TRUE(text == L"abcd");
    CComBSTR moved = std::move(text);
    EXPECT_TRUE(!text);
    text = moved;
    moved = L"other";
    EXPECT_TRUE(text == L"abcd");
    EXPECT_TRUE(moved == L"other");
    moved.Empty();
    EXPECT_EQ(moved.ByteLength(), 0u);
}

TEST(ComBstr, RaisesWhenMemoryIsOut) {
    EXPECT_EQ(CodeOf([] { CComBSTR huge(-2, nullptr); }), E_OUTOFMEMORY);
}

TEST(ComVariant, OwnsACopy) {
    CCounted object;
    const CComBSTR text(L"text");
    {
        const CComVariant held(static_cast<IUnknown*>(&object));
        const CComVariant copy = held;
        EXPECT_EQ(object.count, 2u);
        CComVariant string(text);
        EXPECT_EQ(string.vt, VT_BSTR);
        EXPECT_NE(string.bstrVal, text.m_str);
        string = copy;
        EXPECT_EQ(object.count, 3u);
        string = CComVariant(L"again");
        EXPECT_EQ(object.count, 2u);
        EXPECT_STREQ(string.bstrVal, L"again");
    }
    EXPECT_EQ(object.count, 0u);
}

TEST(ComVariant, ConvertsInPlaceOrKeepsItsValue) {
    CComVariant number(5L);
    EXPECT_EQ(number.ChangeType(VT_BSTR), S_OK);
    EXPECT_STREQ(number.bstrVal, L"5");
    CComVariant word(L"word");
    EXPECT_EQ(word.ChangeType(VT_I4), DISP_E_TYPEMISMATCH);
    EXPECT_STREQ(word.bstrVal, L"word");
    EXPECT_EQ(CComVariant(true).boolVal, VARIANT_TRUE);
    EXPECT_EQ(CComVariant(DISP_E_PARAMNOTFOUND, VT_ERROR).vt, VT_ERROR);
}

TEST(ComVariant, RaisesWhenACopyFails) {
    VARIANT broken;
    VariantInit(&broken);
    broken.vt = 0x0FFF;
    EXPECT_EQ(CodeOf([&] { CComVariant copy(broken); }), DISP_E_BADVARTYPE);
}

TEST(ComVariant, MovesThroughAttachAndDetach) {
    CComVariant source(L"moved");
    VARIANT plain;
    EXPECT_EQ(source.Detach(&plain), S_OK);
    EXPECT_EQ(source.vt, VT_EMPTY);
    CComVariant target(L"old");
    EXPECT_EQ(target.Attach(&plain), S_OK);
    EXPECT_STREQ(target.bstrVal, L"moved");
    EXPECT_EQ(plain.vt, VT_EMPTY);
}

TEST(ComSafeArray, StoresCopiesAndGrows) {
    CComSafeArray<BSTR> names;
    EXPECT_EQ(names.Add(CComBSTR(L"one")), S_OK);
    EXPECT_EQ(names.Add(CComBSTR(L"two")), S_OK);
    ASSERT_EQ(names.GetCount(), 2u);
    EXPECT_STREQ(names[1], L"two");
    CComSafeArray<BSTR> copy = names;
    EXPECT_EQ(copy.SetAt(0, CComBSTR(L"zero")), S_OK);
    EXPECT_STREQ(names[0], L"one");
    EXPECT_STREQ(copy[0], L"zero");
    CComSafeArray<VARIANT> values(1);
    EXPECT_EQ(values.SetAt(0, CComVariant(7L)), S_OK);
    EXPECT_EQ(values[0].lVal, 7);
}

TEST(ComSafeArray, ChecksBoundsFromItsLowerBound) {
    const CComSafeArray<long> numbers(3, 10);
    EXPECT_EQ(numbers.GetLowerBound(), 10);
    EXPECT_EQ(numbers.GetUpperBound(), 12);
    EXPECT_EQ(CodeOf([&] { numbers.GetAt(12); }), S_OK);
    EXPECT_EQ(CodeOf([&] { numbers.GetAt(9); }), E_INVALIDARG);
    EXPECT_EQ(CodeOf([&] { numbers.GetAt(13); }), E_INVALIDARG);
    const CComSafeArray<BSTR> none;
    EXPECT_EQ(CodeOf([&] { none.GetCount(); }), E_INVALIDARG);
}

TEST(ComSafeArray, RefusesArraysOfAnotherType) {
    CComSafeArray<long> numbers(1);
    CComSafeArray<BSTR> names;
    EXPECT_EQ(names.Attach(numbers), E_INVALIDARG);
    EXPECT_EQ(names.CopyFrom(nullptr), E_INVALIDARG);
    EXPECT_EQ(CodeOf([&] { CComSafeArray<BSTR> copy(numbers.GetSafeArrayPtr()); }), E_INVALIDARG);
    CComSafeArray<long> owner;
    EXPECT_EQ(owner.Attach(numbers.Detach()), S_OK);
    EXPECT_EQ(owner.GetCount(), 1u);
}

TEST(AtlException, CarriesItsCode) {
    EXPECT_EQ(CodeOf([] { AtlThrow(E_ACCESSDENIED); }), E_ACCESSDENIED);
    EXPECT_EQ(CodeOf([] {
                  SetLastError(ERROR_FILE_NOT_FOUND);
                  AtlThrowLastWin32();
              }),
              HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    SetLastError(ERROR_SUCCESS);
    EXPECT_EQ(AtlHresultFromLastError(), E_FAIL);
}
