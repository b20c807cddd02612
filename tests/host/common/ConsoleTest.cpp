// Proves what is printed where, and the line that shows progress: Console, StatusLine.

#include "Console.h"

#include <gtest/gtest.h>

TEST(Console, ALineStaysALineWhateverIsInIt) {
    testing::internal::CaptureStdout();
    PrintLine(L"saved      a\r\ndone\u202e\x1b[2J \u00e9");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "saved      a\\u000D\\u000Adone\\u202E\\u001B[2J \xc3\xa9\n");
    testing::internal::CaptureStderr();
    PrintError(L"a\nb");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "quorline: a\\u000Ab\n");
}

TEST(Console, DataGoesOutAsItIs) {
    testing::internal::CaptureStdout();
    PrintData("{\n  \"a\": 1\n}");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "{\n  \"a\": 1\n}\n");
}

TEST(Console, WithoutLinesTroublesAndDataAreStillTold) {
    SetConsole({"quorline-sign", false});
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    PrintLine(L"saved");
    PrintError(L"no paper");
    PrintData("{}");
    SetConsole({"quorline", true});
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "{}\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "quorline-sign: no paper\n");
}
