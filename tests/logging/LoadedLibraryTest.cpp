// What a process finds that loads the library: each case in a process of its own, which is this program again. Proves
// the attachment in DllMain, and Log4cxxConfig.

#include "ChildProgram.h"
#include "ClientKey.h"
#include "ScriptExecution/Script.h"

#include <log4cxx/logger.h>
#include <log4cxx/nt/nteventlogappender.h>
#include <log4cxx/rolling/rollingfileappender.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>

namespace {
using testing::HasSubstr;
using testing::Not;

class LoadedLibraryTest : public testing::Test {
protected:
    /// What the child says: level, size and backups of the log file, source of events.
    static std::string Report() {
        wchar_t program[MAX_PATH];
        GetModuleFileNameW(nullptr, program, MAX_PATH);
        const CProgramResult result = RunProgram(
            L"\"" + std::wstring(program) + L"\" --gtest_also_run_disabled_tests --gtest_filter=LoadedLibraryChild.*");
        const std::size_t begin = result.out.find("report: ");
        return begin == std::string::npos ? result.out + result.err
                                          : result.out.substr(begin, result.out.find_first_of("\r\n", begin) - begin);
    }

    CClientKey m_key;
};
} // namespace

TEST(LoadedLibraryChild, DISABLED_Report) {
    const auto root = log4cxx::Logger::getRootLogger();
    const auto file =
        std::dynamic_pointer_cast<log4cxx::rolling::RollingFileAppender>(root->getAppender("TalvinorLogFile"));
    const auto events = std::dynamic_pointer_cast<log4cxx::nt::NTEventLogAppender>(
        log4cxx::Logger::getLogger("LogHelp.EventLogger")->getAppender("EventAppender"));
    CScript().LoadTextFromFile(L"C:\\no such file"); // an error line of a class
    std::printf("report: %s %lld %d %s %s\n", root->getLevel()->toString().c_str(),
                file ? static_cast<long long>(file->getMaximumFileSize()) : -1, file ? file->getMaxBackupIndex() : -1,
                events ? events->getSource().c_str() : "none", file ? file->getFile().c_str() : "none");
}

TEST_F(LoadedLibraryTest, WithoutAnySettingsTheDefaultsHold) {
    const std::string report = Report();
    EXPECT_THAT(report, HasSubstr("report: INFO 1048576 4 TalvinorSession "));
    EXPECT_THAT(report, HasSubstr("\\Morvane\\Talvinor\\Logs\\TalvinorSession.log"));
    EXPECT_THAT(report, Not(HasSubstr("\\\\")));
}

TEST_F(LoadedLibraryTest, TheSettingsOfTheServiceComponentAreTaken) {
    const struct {
        DWORD level;
        DWORD maxLogs;
        const char* report;
    } cases[] = {
        // log4cxx raises a backup index of 0 to 1
        {0, 1, "report: ERROR 2048 1 "}, {1, 0, "report: WARN 2048 1 "}, {2, 2, "report: INFO 2048 1 "},
        {3, 9, "report: DEBUG 2048 8 "}, {9, 5, "report: WARN 2048 4 "},
    };
    for (const auto& c : cases) {
        CClientKey::Put(L"TalvinorSD", L"TalvinorSDLogLevel", c.level);
        CClientKey::Put(L"TalvinorSD", L"TalvinorSDLogSize", 2048);
        CClientKey::Put(L"TalvinorSD", L"TalvinorSDMaxLogs", c.maxLogs);
        // Neither this prefix nor this key is the session component's.
        CClientKey::Put(L"TalvinorSD", L"TalvinorSessionLogLevel", 1);
        CClientKey::Put(L"Talvinor", L"TalvinorSDLogLevel", 1);
        EXPECT_THAT(Report(), HasSubstr(c.report));
    }
}

TEST_F(LoadedLibraryTest, SettingsBeyondWhatLog4cxxHoldsBecomeItsHighest) {
    const struct {
        DWORD logSize;
        DWORD maxLogs;
        const char* report;
    } cases[] = {
        {0x7fffffff, 14, "report: INFO 2147483647 13 "},
        {0x80000000, 15, "report: INFO 2147483647 13 "},
        {0xffffffff, 0x7fffffff, "report: INFO 2147483647 13 "},
        {2048, 0x80000001, "report: INFO 2048 13 "},
        {2048, 0xffffffff, "report: INFO 2048 13 "},
    };
    for (const auto& c : cases) {
        CClientKey::Put(L"TalvinorSD", L"TalvinorSDLogSize", c.logSize);
        CClientKey::Put(L"TalvinorSD", L"TalvinorSDMaxLogs", c.maxLogs);
        EXPECT_THAT(Report(), HasSubstr(c.report));
    }
}

TEST_F(LoadedLibraryTest, ClassesLogToTheFile) {
    const std::string report = Report();
    const std::string path = report.substr(report.find(":\\") - 1);
    EXPECT_THAT(ReadBytes(std::filesystem::path(path).wstring()), HasSubstr("ERROR ScriptExecution.Script "));
}
