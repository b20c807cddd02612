// Proves when settings are looked at again: logging/LogState.

#include "logging/LogState.h"

#include <gtest/gtest.h>

namespace {
int g_checks = 0;

void CountAndLog() noexcept {
    // As a check does that has something to say.
    if (++g_checks < 10)
        CheckLogSettings();
}

/// No check is left behind.
class LogState : public testing::Test {
protected:
    LogState() { g_checks = 0; }
    ~LogState() override { SetLogSettingsCheck(nullptr, 0); }
};
} // namespace

TEST_F(LogState, ACheckThatLogsIsNotCalledAgainByItsOwnLine) {
    SetLogSettingsCheck(&CountAndLog, 0);
    CheckLogSettings();
    EXPECT_EQ(g_checks, 1);
    CheckLogSettings();
    EXPECT_EQ(g_checks, 2);
}

TEST_F(LogState, NoCheckComesBeforeItsTime) {
    SetLogSettingsCheck(&CountAndLog, 60 * 60 * 1000);
    CheckLogSettings();
    EXPECT_EQ(g_checks, 0);
}
