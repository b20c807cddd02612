// Proves that the command's guide has the codes as the programs have them: ExitCode.

#include "ChildProgram.h"
#include "Console.h"
#include "ExitCode.h"
#include "SystemText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {
using testing::EndsWith;
using testing::HasSubstr;
} // namespace

TEST(DescribeCode, GivesTheTextOfTheRuntimeAndOfTheSystem) {
    EXPECT_EQ(DescribeCode(ENOSPC), L"No space left on device (error 28)");
    EXPECT_THAT(DescribeCode(ERROR_DISK_FULL), EndsWith(L" (error 112)")); // systems differ in the words
    EXPECT_THAT(DescribeCode(0x80070005), EndsWith(L" (error 0x80070005)"));
    EXPECT_EQ(DescribeCode(0x8123abcd), L"error 0x8123abcd");
    // The last of the runtime's numbers, and of those that are written as they are.
    EXPECT_THAT(DescribeCode(EILSEQ), EndsWith(L" (error 42)"));
    EXPECT_EQ(DescribeCode(0xFFFF), L"error 65535");
    EXPECT_EQ(DescribeCode(0x10000), L"error 0x00010000");
}

TEST(ExitCodes, TheGuidesTableIsTheProgramsOwn) {
    const std::string guide = ReadBytes(L"" QUORLINE_DOCS "/quorline.md");
    ASSERT_FALSE(guide.empty());
    int expected = 0;
    for (const auto& [code, meaning] : ExitCodeMeanings) {
        EXPECT_EQ(static_cast<int>(code), expected++);
        EXPECT_THAT(guide, HasSubstr("\n| " + std::to_string(static_cast<int>(code)) + " | " + ToUtf8(meaning) + " |"));
    }
    EXPECT_EQ(guide.find("\n| " + std::to_string(expected) + " | "), std::string::npos);
}
