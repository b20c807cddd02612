// One process is configured once, so the cases of one configuration stand in one test; others have a process each.
// Proves logging/Log4cxxConfig.

#include "ClientKey.h"
#include "ImportHook.h"
#include "LogLines.h"
#include "TempFolder.h"
#include "config/LogSettingsReader.h"
#include "logging/Log4cxxConfig.h"
#include "logging/Logging.h"

#include <log4cxx/helpers/transcoder.h>
#include <log4cxx/nt/nteventlogappender.h>
#include <log4cxx/rolling/rollingfileappender.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

struct CLog4cxxConfigPeer {
    static void CheckPropertiesFile() { CLog4cxxConfig::CheckPropertiesFile(); }
};

namespace {
using testing::HasSubstr;

std::string Bytes(const std::wstring& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void Put(const std::wstring& path, const std::string& text) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(std::filesystem::path(path), std::ios::binary) << text;
}

/// Makes the file look newer than it was, whatever the clock's grain.
void Touch(const std::wstring& path, int seconds) {
    std::filesystem::last_write_time(path, std::filesystem::last_write_time(path) + std::chrono::seconds(seconds));
}

std::wstring g_applicationData;
HRESULT WINAPI FixedFolderPath(HWND, int, HANDLE, DWORD, LPWSTR path) {
    wcscpy(path, g_applicationData.c_str());
    return S_OK;
}

log4cxx::AppenderPtr LogFile() {
    return log4cxx::Logger::getRootLogger()->getAppender("TalvinorLogFile");
}
log4cxx::rolling::RollingFileAppender& RollingFile() {
    return dynamic_cast<log4cxx::rolling::RollingFileAppender&>(*LogFile());
}
} // namespace

TEST(LogConfig, AProcessIsConfiguredOnceFollowsItsPropertiesFileAndKeepsItsSettings) {
    const CClientKey key;
    const CTempFolder folder;
    g_applicationData = folder.Path();
    const CImportHook hook(GetModuleHandleW(nullptr), "SHGetFolderPathW", &FixedFolderPath);
    CClientKey::Put(L"TalvinorSD", L"DataDir", folder.Path() + L"\\Data");
    CClientKey::Put(L"TalvinorSD", L"TalvinorSDLogLevel", 3);
    CClientKey::Put(L"TalvinorSD", L"TalvinorSDLogSize", 4096);
    CClientKey::Put(L"TalvinorSD", L"TalvinorSDMaxLogs", 3);
    const std::wstring properties = folder.Path() + L"\\Data\\Config\\TalvinorSessionLog.properties";
    const std::wstring logFile = folder.Path() + L"\\Morvane\\Talvinor\\Logs\\TalvinorSession.log";
    Put(properties, "log4j.logger.Area.Quiet=ERROR\n");

    // From the start there is the event log.
    const auto events =
        std::dynamic_pointer_cast<log4cxx::nt::NTEventLogAppender>(GetFallbackLogger()->getAppender("EventAppender"));
    ASSERT_TRUE(events);
    EXPECT_EQ(events->getSource(), "Talvinor");
    EXPECT_EQ(events->getLog(), "Application");

    CLog4cxxConfig& config = CLog4cxxConfig::GetInstance();
    EXPECT_FALSE(config.IsConfigured());
    EXPECT_EQ(LogFile(), nullptr);
    config.Configure(SessionComponent, true, &ReadLogSettings);
    EXPECT_TRUE(config.IsConfigured());
    EXPECT_EQ(events->getSource(), "TalvinorSession");
    EXPECT_EQ(log4cxx::Logger::getRootLogger()->getLevel(), log4cxx::Level::getDebug());
    EXPECT_EQ(log4cxx::Logger::getLogger("Area.Quiet")->getLevel(), log4cxx::Level::getError());
    ASSERT_TRUE(LogFile());
    EXPECT_EQ(RollingFile().getMaximumFileSize(), 4096u);
    EXPECT_EQ(RollingFile().getMaxBackupIndex(), 2);
    wchar_t program[MAX_PATH];
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    EXPECT_THAT(Bytes(logFile), HasSubstr("INFO  TalvinorGlobal"));
    EXPECT_THAT(Bytes(logFile),
                HasSubstr("============>  First Logging Message [PID=" + std::to_string(GetCurrentProcessId()) +
                          ", Module=" + std::filesystem::path(program).string() + "] <============"));

    // A second call changes nothing, whatever it asks for.
    config.Configure(0, false, &ReadLogSettings);
    EXPECT_EQ(events->getSource(), "TalvinorSession");

    // Text outside ASCII comes into the file whole.
    LogGlobal(log4cxx::Level::getDebug(), L"caf\u00e9 \u6587");
    EXPECT_THAT(Bytes(logFile), HasSubstr("caf\xc3\xa9 \xe6\x96\x87"));

    // An edited file is read again; a line on the root logger neither loses the log file nor changes the level.
    Put(properties, "log4j.rootLogger=ERROR\nlog4j.logger.Area.Quiet=INFO\n");
    Touch(properties, 10);
    CLog4cxxConfigPeer::CheckPropertiesFile();
    EXPECT_THAT(Bytes(logFile), HasSubstr("INFO  TalvinorGlobal [null] - Log config changed."));
    EXPECT_EQ(log4cxx::Logger::getLogger("Area.Quiet")->getLevel(), log4cxx::Level::getInfo());
    EXPECT_EQ(log4cxx::Logger::getRootLogger()->getLevel(), log4cxx::Level::getDebug());
    ASSERT_TRUE(LogFile());
    EXPECT_EQ(RollingFile().getMaxBackupIndex(), 2);

    // Unchanged it is left alone.
    const std::size_t size = Bytes(logFile).size();
    CLog4cxxConfigPeer::CheckPropertiesFile();
    EXPECT_EQ(Bytes(logFile).size(), size);

    // A file that was put back is as new as one that was edited.
    Touch(properties, -3600);
    CLog4cxxConfigPeer::CheckPropertiesFile();
    EXPECT_GT(Bytes(logFile).size(), size);
    EXPECT_TRUE(Bytes(logFile).ends_with("Log config changed.\r\n"));

    // The file may define the appender itself; name and sizes still come from the settings.
    Put(properties, "log4j.rootLogger=INFO, TalvinorLogFile\n"
                    "log4j.appender.TalvinorLogFile=org.apache.log4j.RollingFileAppender\n"
                    "log4j.appender.TalvinorLogFile.layout=org.apache.log4j.PatternLayout\n"
                    "log4j.appender.TalvinorLogFile.layout.ConversionPattern=own layout %m%n\n");
    Touch(properties, 20);
    CLog4cxxConfigPeer::CheckPropertiesFile();
    LogGlobal(log4cxx::Level::getInfo(), L"one line");
    EXPECT_THAT(Bytes(logFile), HasSubstr("own layout one line"));
    EXPECT_EQ(RollingFile().getMaximumFileSize(), 4096u);

    // The log is of limited size: 3 files, the current one included.
    for (int i = 0; i < 2000; ++i)
        LogGlobal(log4cxx::Level::getInfo(), L"a line that fills the file");
    EXPECT_TRUE(std::filesystem::exists(logFile + L".1"));
    EXPECT_TRUE(std::filesystem::exists(logFile + L".2"));
    EXPECT_FALSE(std::filesystem::exists(logFile + L".3"));

    // A file that went leaves the settings in force.
    LogGlobal(log4cxx::Level::getInfo(), L"the last line");
    std::filesystem::remove(properties);
    CLog4cxxConfigPeer::CheckPropertiesFile();
    EXPECT_TRUE(Bytes(logFile).ends_with("own layout the last line\r\n"));
    log4cxx::Logger::getRootLogger()->removeAllAppenders();
}
