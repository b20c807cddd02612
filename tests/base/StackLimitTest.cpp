// Calls that run out of stack. Proves StackLimit.

#include "base/StackLimit.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <functional>
#include <stdexcept>
#include <thread>
#include <utility>

namespace {
volatile int g_depth = 0;

/// Goes down until it is told to stop, and says how deep it came.
[[gnu::noinline]] int Descend(const std::function<bool()>& stop, int depth = 0) {
    volatile char used[512];
    used[0] = static_cast<char>(depth);
    g_depth = depth;
    if (stop())
        return depth;
    const int reached = Descend(stop, depth + 1);
    return reached + (used[0] & 0);
}

bool Never() {
    return false;
}
} // namespace

TEST(StackLimit, ACallThatReturnsSaysSo) {
    int calls = 0;
    EXPECT_TRUE(RunWithinStack([&] { ++calls; }));
    EXPECT_EQ(calls, 1);
}

TEST(StackLimit, ACallThatRunsOutOfStackIsTakenBackAnyNumberOfTimesOnAnyThread) {
    const auto overflow = [] {
        for (int count = 0; count < 50; ++count) {
            g_depth = 0;
            EXPECT_FALSE(RunWithinStack([] { Descend(&Never); }));
            EXPECT_GT(g_depth, 500);
        }
    };
    overflow();
    std::thread(overflow).join();
}

TEST(StackLimit, ExceptionsPass) {
    EXPECT_THROW(RunWithinStack([] { throw std::runtime_error("on its way"); }), std::runtime_error);
    // From far below, too, with all that is between.
    EXPECT_THROW(RunWithinStack([] {
                     Descend([] {
                         if (g_depth == 300)
                             throw std::runtime_error("on its way");
                         return false;
                     });
                 }),
                 std::runtime_error);
    EXPECT_FALSE(RunWithinStack([] { Descend(&Never); }));
}

TEST(StackLimit, TheInnermostCallIsTheOneThatIsTakenBack) {
    bool inner = true;
    EXPECT_TRUE(RunWithinStack([&] { inner = RunWithinStack([] { Descend(&Never); }); }));
    EXPECT_FALSE(inner);
}

TEST(StackLimit, ThereIsStackForACallUntilLittleIsLeft) {
    EXPECT_TRUE(HasStackForCall());
    std::thread([] {
        EXPECT_TRUE(HasStackForCall());
        int depth = 0;
        EXPECT_TRUE(RunWithinStack([&] { depth = Descend([] { return !HasStackForCall(); }); }));
        // What is left then suffices for the same depth again, many times over.
        g_depth = 0;
        EXPECT_FALSE(RunWithinStack([] { Descend(&Never); }));
        EXPECT_GT(g_depth, depth + 200);
    }).join();
}
