// Proves how lines that could not be written are counted: logging/LostLines. What a log shows of them on a full disk is
// proved by LostLinesTest.

#include "logging/LostLines.h"

#include <gtest/gtest.h>

TEST(LostLines, AreTakenOnceAndCanBeGivenBack) {
    EXPECT_EQ(TakeLostLines(), 0u);
    CountLostLine();
    CountLostLine();
    EXPECT_EQ(TakeLostLines(), 2u);
    EXPECT_EQ(TakeLostLines(), 0u);
    GiveBackLostLines(2);
    CountLostLine();
    EXPECT_EQ(TakeLostLines(), 3u);
    TakeTornLine();
}

TEST(LostLines, ATornLineIsEndedOnce) {
    EXPECT_FALSE(TakeTornLine());
    CountLostLine();
    EXPECT_TRUE(TakeTornLine());
    EXPECT_FALSE(TakeTornLine());
    TakeLostLines();
}
