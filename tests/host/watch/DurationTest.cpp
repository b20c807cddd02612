// Proves which lengths of time can be written: watch/Duration.

#include "Duration.h"

#include "ExitCode.h"

#include <gtest/gtest.h>

TEST(DurationTest, AWholeNumberWithAUnitIsALengthOfTime) {
    EXPECT_EQ(DurationFromText(L"90s").count(), 90);
    EXPECT_EQ(DurationFromText(L"15m").count(), 900);
    EXPECT_EQ(DurationFromText(L"2h").count(), 7200);
    EXPECT_EQ(DurationFromText(L"366d").count(), 366 * 86400);
}

TEST(DurationTest, AnythingElseIsRefused) {
    for (const wchar_t* text :
         {L"", L"s", L"15", L"0m", L"-1m", L"1.5h", L"15 m", L"15min", L"367d", L"99999999d", L"123456789s"})
        EXPECT_THROW(DurationFromText(text), CCommandError) << testing::PrintToString(std::wstring(text));
}
