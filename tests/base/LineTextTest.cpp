// Proves which characters of others' text are shown by their numbers: base/LineText.

#include "base/LineText.h"

#include <gtest/gtest.h>

TEST(LineText, WhatBreaksOrTurnsALineIsShownAsItsNumber) {
    const struct {
        std::wstring text;
        const wchar_t* shown;
    } cases[] = {
        {L"", L""},
        {L"C:\\new\\table.txt", L"C:\\new\\table.txt"},
        {L"caf\u00e9 \u6587 \U0001F600 \u05d0\u0627", L"caf\u00e9 \u6587 \U0001F600 \u05d0\u0627"},
        {L"a\r\nb\n", L"a\\u000D\\u000Ab\\u000A"},
        {L"\ta\x1b[2J", L"\\u0009a\\u001B[2J"},
        {std::wstring(L"a\0b", 3), L"a\\u0000b"},
        {L"\x7f\x80\x85\x9f\xa0", L"\\u007F\\u0080\\u0085\\u009F\xa0"},
        {L"\u2027\u2028\u2029\u202a\u202f", L"\u2027\\u2028\\u2029\\u202A\u202f"},
        {L"invoice\u202excod.exe", L"invoice\\u202Excod.exe"},
        {L"\u2065\u2066\u2069\u206a", L"\u2065\\u2066\\u2069\u206a"},
        {L"\u061c\u200d\u200e\u200f\u2010", L"\\u061C\u200d\\u200E\\u200F\u2010"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ShowControls(c.text), c.shown);
        EXPECT_EQ(HasLineControls(c.text), c.text != c.shown);
        EXPECT_FALSE(HasLineControls(ShowControls(c.text)));
    }
}
