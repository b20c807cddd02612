// The log file as it comes to be on the disk. Proves logging/Log4cxxConfig, LogFileAppender and LineLayout.

#include "ClientKey.h"
#include "ImportHook.h"
#include "LogLines.h"
#include "OwnProcess.h"
#include "RandomRounds.h"
#include "Tally.h"
#include "TempFolder.h"
#include "config/LogSettingsReader.h"
#include "logging/Log4cxxConfig.h"
#include "logging/LogFileAppender.h"
#include "logging/Logging.h"
#include "logging/LostLines.h"

#include <log4cxx/rolling/rollingfileappender.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <sstream>
#include <thread>

struct CLog4cxxConfigPeer {
    /// As when the time to try again has come.
    static void OpenNow() { CLog4cxxConfig::GetInstance().m_nextOpening = 0; }
};

namespace {
using testing::ElementsAre;
using testing::HasSubstr;

std::wstring g_applicationData;
HRESULT WINAPI FixedFolderPath(HWND, int, HANDLE, DWORD, LPWSTR path) {
    wcscpy(path, g_applicationData.c_str());
    return S_OK;
}

/// A file system that makes no new file while it is full.
std::atomic<bool> g_full{false};
HANDLE WINAPI CreateFileWhereThereIsRoom(const wchar_t* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                                         DWORD creation, DWORD flags, HANDLE pattern) {
    if (!g_full)
        return CreateFileW(path, access, share, security, creation, flags, pattern);
    SetLastError(ERROR_DISK_FULL);
    return INVALID_HANDLE_VALUE;
}

constexpr const char* OwnAppender = "log4j.rootLogger=INFO, TalvinorLogFile\n"
                                    "log4j.appender.TalvinorLogFile=org.apache.log4j.RollingFileAppender\n"
                                    "log4j.appender.TalvinorLogFile.layout=org.apache.log4j.PatternLayout\n"
                                    "log4j.appender.TalvinorLogFile.layout.ConversionPattern=own layout %m%n\n";

class LogFileChild : public testing::Test {
protected:
    LogFileChild() : m_hook(GetModuleHandleW(nullptr), "SHGetFolderPathW", &FixedFolderPath) {
        SetApplicationData(L"");
        CClientKey::Put(L"TalvinorSD", L"DataDir", m_folder.Path() + L"\\Data");
        SetSizes(64 << 20, 2);
    }
    ~LogFileChild() override { log4cxx::Logger::getRootLogger()->removeAllAppenders(); }

    void SetApplicationData(const std::wstring& name) { g_applicationData = m_folder.Path() + name; }
    static void SetSizes(DWORD size, DWORD count) {
        CClientKey::Put(L"TalvinorSD", L"TalvinorSDLogSize", size);
        CClientKey::Put(L"TalvinorSD", L"TalvinorSDMaxLogs", count);
    }
    static void Configure() { CLog4cxxConfig::GetInstance().Configure(SessionComponent, false, &ReadLogSettings); }
    static void Update() { CLog4cxxConfig::GetInstance().UpdateConfig(); }
    void PutProperties(const std::string& text) const {
        const std::filesystem::path file(m_folder.Path() + L"\\Data\\Config\\TalvinorSessionLog.properties");
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << text;
    }
    static std::wstring LogPath() { return g_applicationData + L"\\Morvane\\Talvinor\\Logs\\TalvinorSession.log"; }
    static std::string Log() { return ReadBytes(LogPath()); }
    static void Say(const std::wstring& text) { LogGlobal(log4cxx::Level::getInfo(), L"{0:%s}", text.c_str()); }
    static void SayMuch(int lines) {
        for (int i = 0; i < lines; ++i)
            Say(L"a line that fills the file");
    }
    /// The messages of the log's lines.
    static std::vector<std::string> Messages() {
        std::vector<std::string> messages;
        std::istringstream lines(Log());
        for (std::string line; std::getline(lines, line);) {
            const std::size_t begin = line.find("] - ");
            messages.push_back(line.substr(begin == std::string::npos ? 0 : begin + 4));
            if (messages.back().ends_with('\r'))
                messages.back().pop_back();
        }
        return messages;
    }

    CClientKey m_key;
    CTempFolder m_folder;
    CImportHook m_hook;
};
} // namespace

TEST(LogFile, EachCaseHoldsInAProcessOfItsOwn) {
    RunEachInItsOwnProcess("LogFileChild");
}

TEST_F(LogFileChild, DISABLED_AFolderWithPercentSignsIsRolledOver) {
    SetApplicationData(L"\\100%d of %i");
    SetSizes(4096, 3);
    Configure();
    SayMuch(200);
    EXPECT_THAT(ReadBytes(LogPath() + L".1"), HasSubstr("a line that fills the file"));
    EXPECT_TRUE(std::filesystem::exists(LogPath() + L".2"));
    PutProperties(OwnAppender);
    Update();
    SayMuch(400);
    EXPECT_THAT(ReadBytes(LogPath() + L".1"), HasSubstr("own layout a line that fills the file"));
    EXPECT_FALSE(std::filesystem::exists(LogPath() + L".3"));
}

TEST_F(LogFileChild, DISABLED_NoLineIsLostWhileTheSettingsChange) {
    constexpr int Threads = 16;
    const int lines = static_cast<int>(CRandomRounds(400).count);
    Configure();
    std::atomic<int> running{Threads};
    std::vector<std::thread> threads;
    for (int i = 0; i < Threads; ++i)
        threads.emplace_back([i, lines, &running] {
            for (int line = 0; line < lines; ++line) {
                const std::string text = "#" + std::to_string(i) + "." + std::to_string(line) + "#";
                // Every other thread is the host's, and writes to log4cxx itself.
                if (i % 2 == 0)
                    Say(std::wstring(text.begin(), text.end()));
                else
                    LOG4CXX_INFO(log4cxx::Logger::getLogger("Host.Area"), text);
            }
            --running;
        });
    const std::string variants[] = {OwnAppender, "log4j.rootLogger=ERROR\n", "log4j.logger.Area.Quiet=INFO\n",
                                    "log4j.rootLogger=WARN\nlog4j.logger.Host=INFO\n"};
    int changes = 0;
    for (; running > 0; ++changes) {
        PutProperties(variants[changes % std::size(variants)]);
        Update();
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_GT(changes, 3);
    EXPECT_EQ(TakeLostLines(), 0u);
    std::multiset<std::string> written;
    const std::string log = Log();
    for (std::size_t begin = log.find('#'); begin != std::string::npos;) {
        const std::size_t end = log.find('#', begin + 1);
        written.insert(log.substr(begin, end - begin + 1));
        begin = log.find('#', end + 1);
    }
    EXPECT_EQ(written.size(), static_cast<std::size_t>(Threads * lines));
    for (int i = 0; i < Threads; ++i)
        for (int line = 0; line < lines; ++line)
            ASSERT_EQ(written.count("#" + std::to_string(i) + "." + std::to_string(line) + "#"), 1u);
    PrintTally("lines of sixteen threads", static_cast<unsigned long long>(Threads) * lines);
    PrintTally("changes of the settings meanwhile", changes);
}

TEST_F(LogFileChild, DISABLED_AFileThatCannotBeMadeAnewIsTriedUntilItCan) {
    const CImportHook hook(GetModuleHandleW(L"log4cxx.dll"), "CreateFileW", &CreateFileWhereThereIsRoom);
    SetSizes(4096, 3);
    Configure();
    g_full = true;
    SayMuch(100); // rolls over
    g_full = false;
    EXPECT_FALSE(std::filesystem::exists(LogPath()));
    CLog4cxxConfigPeer::OpenNow();
    Say(L"not written yet, but opens the file");
    Say(L"written");
    ASSERT_EQ(Messages().size(), 2u);
    EXPECT_THAT(Messages()[0], HasSubstr(" log lines could not be written and are lost"));
    EXPECT_EQ(Messages()[1], "written");
    // Nothing is missing that was not told of.
    const std::string before = ReadBytes(LogPath() + L".1");
    std::size_t kept = 0;
    for (std::size_t at = before.find("fills"); at != std::string::npos; at = before.find("fills", at + 1))
        ++kept;
    EXPECT_EQ(std::stoul(Messages()[0]) + kept, 101u);
}

TEST_F(LogFileChild, DISABLED_AFileThatNeverCouldBeOpenedIsOpenedWhenItCan) {
    // A file where the folders should be.
    std::ofstream(std::filesystem::path(g_applicationData + L"\\Morvane")) << "x";
    Configure();
    Say(L"one");
    std::filesystem::remove(g_applicationData + L"\\Morvane");
    std::filesystem::create_directories(std::filesystem::path(LogPath()).parent_path());
    const std::string before = "2026 [1] INFO  x [] - of another host\r\n";
    std::ofstream(std::filesystem::path(LogPath()), std::ios::binary) << before;
    CLog4cxxConfigPeer::OpenNow();
    Say(L"two");
    Say(L"three");
    // The first line of every log, and the first two of these.
    EXPECT_THAT(Messages(), ElementsAre("of another host", "3 log lines could not be written and are lost", "three"));
}

TEST_F(LogFileChild, DISABLED_WhatOthersPutIntoALineStaysInIt) {
    Configure();
    CLogLines lines;
    const std::wstring title =
        L"a title\r\n2026-01-01 INFO  TalvinorGlobal - all saved\u2028\u0085\u202etxt.exe caf\u00e9";
    const std::string shown = "a title\\u000D\\u000A2026-01-01 INFO  TalvinorGlobal - all "
                              "saved\\u2028\\u0085\\u202Etxt.exe caf\xc3\xa9";
    Say(title);
    LogGlobal(log4cxx::Level::getError(), L"our own line ends in one\n");
    log4cxx::Logger::getLogger("Host.Area")->info(std::wstring(L"the host's\nown"));
    std::vector<std::string> messages = Messages();
    messages.erase(messages.begin()); // the first logging message
    EXPECT_THAT(messages, ElementsAre(shown, "our own line ends in one\\u000A", "the host's\\u000Aown"));
    // The messages are what they were.
    EXPECT_THAT(lines.Take(),
                ElementsAre(L"INFO TalvinorGlobal: " + title, L"ERROR TalvinorGlobal: our own line ends in one\n",
                            L"INFO Host.Area: the host's\nown"));
    PutProperties(OwnAppender);
    Update();
    Say(title);
    EXPECT_EQ(Messages().back(), "own layout " + shown);
}

TEST_F(LogFileChild, DISABLED_EveryFileOfThePropertiesFileHasOneLineALine) {
    const std::wstring other = m_folder.Path() + L"\\other.log";
    std::string path(other.begin(), other.end());
    std::ranges::replace(path, '\\', '/');
    PutProperties("log4j.logger.Area=INFO, Other\n"
                  "log4j.appender.Other=org.apache.log4j.FileAppender\n"
                  "log4j.appender.Other.file=" +
                  path +
                  "\n"
                  "log4j.appender.Other.layout=org.apache.log4j.PatternLayout\n"
                  "log4j.appender.Other.layout.ConversionPattern=first line%nsecond line: %m%n\n");
    Configure();
    LogToNamedLogger(L"Area", log4cxx::Level::getInfo(), L"a\nb");
    EXPECT_EQ(ReadBytes(other), "first line\r\nsecond line: a\\u000Ab\r\n");
}

TEST_F(LogFileChild, DISABLED_AnAppenderOfTheHostsIsGivenTheSettings) {
    const auto appender = MakeLogFileAppender();
    log4cxx::Logger::getRootLogger()->addAppender(appender);
    Configure();
    EXPECT_EQ(log4cxx::Logger::getRootLogger()->getAppender("TalvinorLogFile"), appender);
    Say(L"one");
    EXPECT_EQ(Messages().back(), "one");
    EXPECT_EQ(dynamic_cast<log4cxx::rolling::RollingFileAppender&>(*appender).getMaximumFileSize(), 64u << 20);
}
