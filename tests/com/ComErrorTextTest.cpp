// Proves the text of an HRESULT: com/ComErrorText.

#include "com/ComErrorText.h"

#include <gtest/gtest.h>

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

} // namespace
