// Run by file-size-limit.sh: no file takes more than 64 KiB, and a write beyond fails as on a full disk. Proves
// logging/LostLines and LineLayout.

#include "ChildProgram.h"
#include "ClientKey.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <shlobj.h>

#include <regex>

namespace {
constexpr std::size_t Limit = 64 << 10;

std::wstring LogFile() {
    wchar_t folder[MAX_PATH];
    SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, folder);
    return std::wstring(folder) + L"\\Morvane\\Talvinor\\Logs\\TalvinorSession.log";
}

/// A log of a host before, with room for so many bytes; what was there comes back in the end.
class CFilledLog {
public:
    explicit CFilledLog(std::size_t room) {
        std::filesystem::create_directories(std::filesystem::path(LogFile()).parent_path());
        if (std::filesystem::exists(LogFile()))
            std::filesystem::rename(LogFile(), LogFile() + L".aside");
        std::ofstream(std::filesystem::path(LogFile()), std::ios::binary) << std::string(Limit - room, 'x');
    }
    ~CFilledLog() {
        std::error_code ignored;
        std::filesystem::remove(LogFile(), ignored);
        std::filesystem::rename(LogFile() + L".aside", LogFile(), ignored);
    }
    CFilledLog(const CFilledLog&) = delete;
    CFilledLog& operator=(const CFilledLog&) = delete;
};
} // namespace

TEST(FullDisk, TheLimitIsInForce) {
    const CFilledLog log(10);
    std::ofstream file(std::filesystem::path(LogFile()), std::ios::binary | std::ios::app);
    file << std::string(20, 'y') << std::flush;
    EXPECT_FALSE(file.good());
    EXPECT_EQ(std::filesystem::file_size(LogFile()), Limit);
}

TEST(FullDisk, AHostLoadsAndUsesTheLibraryAndLaterReadsHowManyLinesAreMissing) {
    const CClientKey key;
    CClientKey::Put(L"TalvinorSD", L"TalvinorSDLogLevel", 3);
    const CFilledLog log(100);
    const std::wstring path = LogFile();
    const CProgramResult result = RunProgram(L"\"" + ProgramFolder() + L"\\FullDiskHost.exe\" \"" + path + L"\"");
    EXPECT_EQ(result.exitCode, 0u) << result.out << result.err;

    // The half that was left, and on lines of their own what was written then.
    std::string content = ReadBytes(path);
    content.erase(0, content.find_first_not_of('x'));
    std::smatch match;
    ASSERT_TRUE(std::regex_search(content, match,
                                  std::regex("(?:^|\n)[^\n]* WARN  TalvinorGlobal \\[[^\n]*\\] - (\\d+) log lines "
                                             "could not be written and are lost\r\n")))
        << content;
    EXPECT_GT(std::stoi(match[1]), 8);
    const std::string after = match.suffix();
    EXPECT_THAT(after, testing::HasSubstr("INFO  TalvinorGlobal [CAsyncRunner::Start] - Starting script execution"));
    EXPECT_THAT(after, testing::HasSubstr("ERROR ScriptExecution.Script "));
    EXPECT_THAT(after, testing::Not(testing::HasSubstr("log lines could not be written")));
}
