// Proves the text of an HRESULT, and whose error information goes with a thrown one: com/ComErrorText.

#include "com/ComErrorText.h"

#include "ComApartment.h"
#include "com/ErrorInfo.h"

#include <gtest/gtest.h>

#include <atlbase.h>
#include <atlcom.h>
#include <comdef.h>

namespace {

std::wstring SystemText(HRESULT hr) {
    wchar_t text[512] = L"";
    FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, static_cast<DWORD>(hr), 0, text,
                   512, nullptr);
    return text;
}

TEST(ComErrorTextTest, TheSystemsMessageLosesItsLineBreakAlone) {
    for (const HRESULT hr : {E_ACCESSDENIED, E_FAIL, E_OUTOFMEMORY}) {
        const std::wstring text = SystemText(hr);
        ASSERT_TRUE(text.ends_with(L"\r\n"));
        EXPECT_EQ(GetComErrorText(hr) + L"\r\n", text);
    }
}

TEST(ComErrorTextTest, CodesWithoutAMessageAreShownAsNumbers) {
    const struct {
        unsigned long code;
        const wchar_t* text;
    } cases[] = {
        {0x80040200, L"IDispatch error #0"},       {0x80040201, L"IDispatch error #1"},
        {0x80044321, L"IDispatch error #16673"},   {0x8004FFFF, L"IDispatch error #65023"},
        {0x80050000, L"Unknown error 0x80050000"}, {0xA0001234, L"Unknown error 0xA0001234"},
        {0x80020101, L"Unknown error 0x80020101"},
    };
    for (const auto& [code, text] : cases) {
        if (!SystemText(static_cast<HRESULT>(code)).empty())
            continue; // the system's own message comes first
        EXPECT_EQ(GetComErrorText(static_cast<HRESULT>(code)), text);
    }
}

/// Tells why one of its interfaces fails, of the others nothing.
class CTalkingObject : public CComObjectRootEx<CComSingleThreadModel>, public ISupportErrorInfoImpl<&IID_IPersist> {
public:
    BEGIN_COM_MAP(CTalkingObject)
    COM_INTERFACE_ENTRY(ISupportErrorInfo)
    END_COM_MAP()
};

std::wstring ThrownDescription(IUnknown* object, REFIID iid) {
    try {
        ThrowComError(E_ACCESSDENIED, object, iid);
    } catch (const _com_error& error) {
        EXPECT_EQ(error.Error(), E_ACCESSDENIED);
        const _bstr_t description = error.Description();
        return description.length() != 0 ? static_cast<const wchar_t*>(description) : L"";
    }
}

TEST(ThrowComErrorTest, ErrorInformationIsTakenOfTheObjectAndInterfaceThatFailed) {
    const CComApartment apartment;
    CComObjectNoLock<CTalkingObject>* made = nullptr;
    ASSERT_EQ(CComObjectNoLock<CTalkingObject>::CreateInstance(&made), S_OK);
    const CComPtr<IUnknown> object(static_cast<ISupportErrorInfo*>(made));
    const auto leave = [] { InstallErrorInfo(IID_IPersist, {.description = L"it was locked"}); };

    leave();
    EXPECT_EQ(ThrownDescription(object, IID_IPersist), L"it was locked");
    leave();
    EXPECT_EQ(ThrownDescription(object, IID_IDispatch), L"") << "an earlier failure's words";
    leave();
    EXPECT_EQ(ThrownDescription(nullptr, IID_IPersist), L"");
    SetErrorInfo(0, nullptr);
}

} // namespace
