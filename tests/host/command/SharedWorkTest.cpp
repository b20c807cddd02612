// Proves that work is shared out whole, and that its failures are told: SharedWork.

#include "SharedWork.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <utility>

namespace {
constexpr std::size_t Many = 1000;

/// How often each of many things was done.
using Tally = std::array<std::atomic<int>, Many>;

bool IsEachDoneOnce(const Tally& tally) {
    return std::ranges::all_of(tally, [](const std::atomic<int>& times) { return times == 1; });
}
} // namespace

TEST(SharedWork, EachIndexIsGivenToOneThread) {
    Tally tally{};
    ShareWork(Many, [&](CIndexes& indexes) {
        while (const auto index = indexes.Next())
            ++tally.at(*index);
    });
    EXPECT_TRUE(IsEachDoneOnce(tally));
}

TEST(SharedWork, ManyThingsAreDoneByAThreadForEachProcessorButNoMoreThanFour) {
    const std::size_t expected = std::min(4u, std::thread::hardware_concurrency());
    std::mutex lock;
    std::condition_variable changed;
    std::set<std::thread::id> threads;
    ShareWork(Many, [&](CIndexes&) {
        std::unique_lock guard(lock);
        threads.insert(std::this_thread::get_id());
        changed.notify_all();
        // Whoever went on at once might be done before another one starts.
        EXPECT_TRUE(changed.wait_for(guard, std::chrono::seconds(30), [&] { return threads.size() >= expected; }));
    });
    EXPECT_EQ(threads.size(), expected);
    EXPECT_TRUE(threads.contains(std::this_thread::get_id()));
}

TEST(SharedWork, FewThingsAreDoneByTheCallersThreadAlone) {
    const auto caller = std::this_thread::get_id();
    int calls = 0;
    std::size_t sum = 0;
    ShareWork(20, [&](CIndexes& indexes) {
        ++calls;
        EXPECT_EQ(std::this_thread::get_id(), caller);
        while (const auto index = indexes.Next())
            sum += *index;
    });
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(sum, 190u);
}

TEST(SharedWork, NothingToDoIsNothingGiven) {
    ShareWork(0, [](CIndexes& indexes) { EXPECT_FALSE(indexes.Next()); });
}

TEST(SharedWork, WhatAnyThreadThrowsIsThrownWhenTheRestIsDone) {
    if (std::thread::hardware_concurrency() < 2)
        GTEST_SKIP() << "there is but one processor";
    for (const bool onCallersThread : {true, false}) {
        const auto caller = std::this_thread::get_id();
        std::mutex lock;
        std::condition_variable changed;
        bool thrown = false;
        Tally tally{};
        EXPECT_THROW(ShareWork(Many,
                               [&](CIndexes& indexes) {
                                   std::unique_lock guard(lock);
                                   const bool mine = (std::this_thread::get_id() == caller) == onCallersThread;
                                   if (mine && !std::exchange(thrown, true)) {
                                       changed.notify_all();
                                       throw std::runtime_error("no");
                                   }
                                   EXPECT_TRUE(
                                       changed.wait_for(guard, std::chrono::seconds(30), [&] { return thrown; }));
                                   guard.unlock();
                                   while (const auto index = indexes.Next())
                                       ++tally.at(*index);
                               }),
                     std::runtime_error);
        EXPECT_TRUE(IsEachDoneOnce(tally));
    }
}
