// Proves what a watcher knows of the one before it: watch/WatchRecord.

#include "WatchRecord.h"

#include "ExitCode.h"
#include "TempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace {
class WatchRecordTest : public testing::Test {
protected:
    const CTempFolder m_folder;
    const std::wstring m_path = m_folder.Path() + L"\\watch.json";
};
} // namespace

TEST_F(WatchRecordTest, WhatIsWrittenIsReadBack) {
    WriteWatchRecord(m_path, {true, {L"2026-11-21_21.08.54", L"Grüße"}, {L"C:\\夜\\a.txt"}});
    const CWatchRecord record = ReadWatchRecord(m_path);
    EXPECT_TRUE(record.watching);
    EXPECT_EQ(record.checkpoints, (std::vector<std::wstring>{L"2026-11-21_21.08.54", L"Grüße"}));
    EXPECT_EQ(record.asked, std::vector<std::wstring>{L"C:\\夜\\a.txt"});
    EXPECT_FALSE(std::filesystem::exists(m_path + L".new"));
}

TEST_F(WatchRecordTest, ADamagedRecordKeepsNothingFromTheUser) {
    for (const char* text : {"", "{", "[]", R"({"watching": true})", R"({"watching":1,"checkpoints":[],"asked":[]})",
                             R"({"watching":true,"checkpoints":[5],"asked":[]})"}) {
        std::ofstream(std::filesystem::path(m_path), std::ios::binary) << text;
        const CWatchRecord record = ReadWatchRecord(m_path);
        EXPECT_FALSE(record.watching) << text;
        EXPECT_TRUE(record.checkpoints.empty() && record.asked.empty()) << text;
    }
    EXPECT_FALSE(ReadWatchRecord(m_folder.Path() + L"\\none").watching);
}

TEST_F(WatchRecordTest, ARecordThatCannotBeWrittenLeavesTheOldOne) {
    WriteWatchRecord(m_path, {true, {L"old"}, {}});
    std::filesystem::create_directory(m_path + L".new");
    EXPECT_THROW(WriteWatchRecord(m_path, {}), CCommandError);
    EXPECT_EQ(ReadWatchRecord(m_path).checkpoints, std::vector<std::wstring>{L"old"});
}
