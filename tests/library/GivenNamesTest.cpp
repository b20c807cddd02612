// The names that a store has given, and where counting goes on. Proves GivenNames.

#include "GivenNames.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

TEST(GivenNames, WhatWasGivenIsPassedOver) {
    CGivenNames given;
    EXPECT_EQ(0u, given.FirstFree(L"A", 0));
    given.Add(L"A", 0);
    EXPECT_EQ(1u, given.FirstFree(L"a", 0));
    EXPECT_EQ(0u, given.FirstFree(L"B", 0));
    given.Add(L"A", 2);
    EXPECT_EQ(1u, given.FirstFree(L"A", 0));
    EXPECT_EQ(3u, given.FirstFree(L"A", 2));
    given.Add(L"A", 1);
    EXPECT_EQ(3u, given.FirstFree(L"A", 0));
    EXPECT_EQ(7u, given.FirstFree(L"A", 7));
}

TEST(GivenNames, TheLastCounterHasNoneAboveIt) {
    CGivenNames given;
    given.Add(L"A", 0xFFFFFFFF);
    EXPECT_EQ(0u, given.FirstFree(L"A", 0xFFFFFFFF));
    EXPECT_EQ(0xFFFFFFFE, given.FirstFree(L"A", 0xFFFFFFFE));
}

TEST(GivenNames, AnyOrderOfGivingIsRemembered) {
    std::mt19937 random(7);
    for (int round = 0; round < 200; ++round) {
        CGivenNames given;
        std::set<unsigned> expected;
        for (int i = 0; i < 40; ++i) {
            const unsigned counter = random() % 50;
            given.Add(L"A", counter);
            expected.insert(counter);
            for (unsigned from = 0; from < 51; ++from) {
                unsigned free = from;
                while (expected.contains(free))
                    ++free;
                ASSERT_EQ(free, given.FirstFree(L"A", from));
            }
        }
    }
}
