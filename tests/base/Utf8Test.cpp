// Proves the way to UTF-8 and back: base/Utf8.

#include "ImportHook.h"
#include "base/Utf8.h"

#include <windows.h>

#include <gtest/gtest.h>

namespace {
TEST(Utf8, TextGoesThereAndBack) {
    const std::wstring text = L"caf\u00e9 \u6587 \xD83D\xDE00 \x07";
    EXPECT_EQ(ToUtf8(text), "caf\xc3\xa9 \xe6\x96\x87 \xf0\x9f\x98\x80 \x07");
    EXPECT_EQ(FromUtf8(ToUtf8(text)), text);
    EXPECT_EQ(ToUtf8(L""), "");
    EXPECT_EQ(FromUtf8(""), L"");
    EXPECT_EQ(DecodeUtf8("", BadUtf8::Refuse), L"");
}

TEST(Utf8, ACharacterTakesTheFewestBytesThatHoldIt) {
    const struct {
        std::wstring text;
        std::string bytes;
    } cases[] = {
        {L"\x7F", "\x7f"},
        {L"\x80", "\xc2\x80"},
        {L"\x7FF", "\xdf\xbf"},
        {L"\x800", "\xe0\xa0\x80"},
        {L"\xD7FF\xE000", "\xed\x9f\xbf\xee\x80\x80"}, // around the halves of pairs
        {L"\xFFFF", "\xef\xbf\xbf"},
        {L"\xD800\xDC00", "\xf0\x90\x80\x80"}, // U+10000
        {L"\xDBFF\xDFFF", "\xf4\x8f\xbf\xbf"}, // U+10FFFF
    };
    for (const auto& [text, bytes] : cases) {
        EXPECT_EQ(ToUtf8(text), bytes);
        EXPECT_EQ(DecodeUtf8(bytes, BadUtf8::Refuse), text);
    }
}

TEST(Utf8, AZeroIsACharacterLikeAnyOther) {
    EXPECT_EQ(ToUtf8(std::wstring_view(L"a\0b", 3)), std::string("a\0b", 3));
    EXPECT_EQ(FromUtf8(std::string_view("a\0b", 3)), std::wstring(L"a\0b", 3));
}

TEST(Utf8, HalfAPairBecomesTheReplacementCharacter) {
    for (const wchar_t* const half : {L"\xD83D", L"\xDE00", L"\xDE00\xD83D"}) {
        std::string expected;
        for (std::size_t i = 0; i < wcslen(half); ++i)
            expected += "\xef\xbf\xbd";
        EXPECT_EQ(ToUtf8(half), expected);
    }
}

TEST(Utf8, NoPairIsTornInALongText) {
    for (std::size_t before = 0; before < 3; ++before) {
        // Whatever the length of the pieces, some pair of these stands across the end of each.
        std::wstring text(before, L'x');
        while (text.size() < (3U << 20))
            text += L"\xD83D\xDE00";
        const std::string bytes = ToUtf8(text);
        EXPECT_EQ(bytes.size(), before + 2 * (text.size() - before));
        EXPECT_EQ(bytes.find("\xef\xbf\xbd"), std::string::npos);
        EXPECT_TRUE(FromUtf8(bytes) == text);
    }
}

TEST(Utf8, BytesThatAreNoUtf8AreReplacedOrRefused) {
    for (const char* const bytes : {"\xff", "a\xc3", "\xed\xa0\x80", "\x80z"}) {
        EXPECT_NE(FromUtf8(bytes).find(L'\xFFFD'), std::wstring::npos);
        SetLastError(ERROR_SUCCESS);
        EXPECT_EQ(DecodeUtf8(bytes, BadUtf8::Refuse), std::nullopt);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_UNICODE_TRANSLATION});
    }
    EXPECT_EQ(DecodeUtf8("caf\xc3\xa9", BadUtf8::Refuse), L"caf\u00e9");
}

int g_callsBefore = 0; // of either conversion, until one fails
bool IsDue() {
    return g_callsBefore-- == 0;
}
/// Of plain letters, which take as many bytes.
int WINAPI ToBytesUntilDue(UINT, DWORD, const wchar_t*, int length, char*, int, const char*, BOOL*) {
    return IsDue() ? 0 : length;
}
int WINAPI ToTextUntilDue(UINT, DWORD, const char*, int size, wchar_t*, int) {
    return IsDue() ? 0 : size;
}

TEST(Utf8, WhatTheSystemCannotConvertIsNeverAnEmptyText) {
    const CImportHook there(GetModuleHandleW(nullptr), "WideCharToMultiByte", &ToBytesUntilDue);
    const CImportHook back(GetModuleHandleW(nullptr), "MultiByteToWideChar", &ToTextUntilDue);
    for (const int before : {0, 1}) { // the length is asked for first
        g_callsBefore = before;
        EXPECT_THROW(ToUtf8(L"text"), std::bad_alloc);
        g_callsBefore = before;
        EXPECT_THROW(FromUtf8("text"), std::bad_alloc);
        g_callsBefore = before;
        EXPECT_EQ(DecodeUtf8("text", BadUtf8::Refuse), std::nullopt);
    }
}
} // namespace
