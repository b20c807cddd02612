#pragma once

// A process is configured once, so cases of a configuration need a process each: this program again. They are the
// disabled tests of a suite of their own.

#include "ChildProgram.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>

/// Runs every test of the suite in a process of its own; each has to pass. The lines of the table of counts are passed
/// on.
inline void RunEachInItsOwnProcess(const std::string& suiteName) {
    wchar_t program[MAX_PATH];
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    int cases = 0;
    const testing::UnitTest& all = *testing::UnitTest::GetInstance();
    for (int i = 0; i < all.total_test_suite_count(); ++i) {
        const testing::TestSuite& suite = *all.GetTestSuite(i);
        for (int j = 0; suite.name() == suiteName && j < suite.total_test_count(); ++j) {
            const std::string name = suiteName + "." + suite.GetTestInfo(j)->name();
            const CProgramResult result =
                RunProgram(L"\"" + std::wstring(program) + L"\" --gtest_also_run_disabled_tests" + L" --gtest_filter=" +
                           std::wstring(name.begin(), name.end()));
            EXPECT_EQ(result.exitCode, 0u) << name << "\n" << result.out << result.err;
            std::istringstream lines(result.out);
            for (std::string line; std::getline(lines, line);)
                if (line.starts_with("tally: "))
                    std::printf("%s\n", line.c_str());
            ++cases;
        }
    }
    EXPECT_GT(cases, 0);
}
