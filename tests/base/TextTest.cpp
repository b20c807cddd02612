// Proves what is cut off a text and which texts count as the same: base/Text.

#include "base/Text.h"

#include <gtest/gtest.h>

namespace {
TEST(Text, TrimmingTakesTheGivenCharactersFromTheEndsAlone) {
    EXPECT_EQ(Trim(L" \ta b\r\n ", L" \t\r\n"), L"a b");
    EXPECT_EQ(TrimEnd(L" \ta b\r\n ", L" \t\r\n"), L" \ta b");
    EXPECT_EQ(TrimStart(L" \ta b\r\n ", L" \t\r\n"), L"a b\r\n ");
    EXPECT_EQ(Trim(L"ab", L" "), L"ab");
    for (const wchar_t* const blank : {L"", L" ", L" \t "}) {
        EXPECT_EQ(Trim(blank, L" \t"), L"");
        EXPECT_EQ(TrimEnd(blank, L" \t"), L"");
        EXPECT_EQ(TrimStart(blank, L" \t"), L"");
    }
}

TEST(Text, TextsAreComparedWithoutCaseUpToTheFirstZero) {
    EXPECT_TRUE(SameText(L"Report.DOC", L"rEPORT.doc"));
    EXPECT_FALSE(SameText(L"Report", L"Report.doc"));
    EXPECT_TRUE(SameText(std::wstring(L"a\0b", 3), L"A"));
}

TEST(Text, NamesAreComparedWholeAndOrderedAsTheSystemOrdersThem) {
    EXPECT_TRUE(SameName(L"\u00c9tude.TXT", L"\u00e9tude.txt"));
    EXPECT_FALSE(SameName(std::wstring_view(L"a\0b", 3), L"a"));
    EXPECT_LT(CompareNames(L"a", L"B"), 0);
    EXPECT_GT(CompareNames(L"b", L"A"), 0);
    EXPECT_EQ(CompareNames(L"", L""), 0);
}
} // namespace
