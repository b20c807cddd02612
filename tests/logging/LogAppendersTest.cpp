// A host that keeps log4cxx and frees the library: nothing in log4cxx may lead to code that is no longer there. Proves
// logging/LogAppenders.

#include "ClientKey.h"
#include "TempFolder.h"

#include <log4cxx/logger.h>
#include <log4cxx/spi/loggingevent.h>

#include <gtest/gtest.h>

#include <windows.h>

#include <atomic>
#include <fstream>
#include <thread>
#include <vector>

namespace {
class CUnloadTest : public testing::Test {
protected:
    CUnloadTest() { CClientKey::Put(L"TalvinorSD", L"DataDir", m_folder.Path() + L"\\Data"); }

    void PutProperties() const {
        const std::filesystem::path file(m_folder.Path() + L"\\Data\\Config\\TalvinorSessionLog.properties");
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary)
            << "log4j.rootLogger=INFO, TalvinorLogFile\n"
               "log4j.appender.TalvinorLogFile=org.apache.log4j.RollingFileAppender\n"
               "log4j.appender.TalvinorLogFile.layout=org.apache.log4j.SimpleLayout\n";
    }

    static HMODULE Load() { return LoadLibraryW(L"Quorline.dll"); }
    /// The library is gone.
    static void Free(HMODULE library) {
        FreeLibrary(library);
        ASSERT_EQ(GetModuleHandleW(L"Quorline.dll"), nullptr);
    }
    static log4cxx::AppenderPtr LogFile() { return log4cxx::Logger::getRootLogger()->getAppender("TalvinorLogFile"); }
    static log4cxx::AppenderPtr Events() {
        return log4cxx::Logger::getLogger("LogHelp.EventLogger")->getAppender("EventAppender");
    }

    /// Has the appender write, close and go, as a thread may that met it before the library went.
    static void UseUp(log4cxx::AppenderPtr& appender) {
        log4cxx::helpers::Pool pool;
        const auto event = std::make_shared<log4cxx::spi::LoggingEvent>(
            "Host", log4cxx::Level::getError(), "a line\nof two", log4cxx::spi::LocationInfo::getLocationUnavailable());
        appender->doAppend(event, pool);
        appender->activateOptions(pool);
        appender->doAppend(event, pool);
        appender->close();
        EXPECT_EQ(appender.use_count(), 1);
        appender.reset();
    }

    void ExpectNothingLeft() {
        const HMODULE library = Load();
        ASSERT_NE(library, nullptr);
        log4cxx::AppenderPtr file = LogFile();
        log4cxx::AppenderPtr events = Events();
        ASSERT_TRUE(file);
        ASSERT_TRUE(events);
        Free(library);
        EXPECT_FALSE(LogFile());
        EXPECT_FALSE(Events());
        UseUp(file);
        UseUp(events);
        LOG4CXX_ERROR(log4cxx::Logger::getRootLogger(), "a line after the library");
        LOG4CXX_ERROR(log4cxx::Logger::getLogger("LogHelp.EventLogger"), "a line after the library");
    }

    CClientKey m_key;
    CTempFolder m_folder;
};
} // namespace

TEST_F(CUnloadTest, NothingIsLeftOfTheLibrarysOwnLogFile) {
    ExpectNothingLeft();
}

TEST_F(CUnloadTest, NothingIsLeftOfALogFileThatThePropertiesFileDefines) {
    PutProperties();
    ExpectNothingLeft();
}

TEST_F(CUnloadTest, ThreadsThatLogMeanwhileGoOn) {
    PutProperties();
    std::atomic<bool> over{false};
    std::atomic<int> lines{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            while (!over) {
                LOG4CXX_ERROR(log4cxx::Logger::getRootLogger(), "a line\nof two");
                ++lines;
            }
        });
    for (int round = 0; round < 20; ++round) {
        const HMODULE library = Load();
        ASSERT_NE(library, nullptr);
        for (const int before = lines; lines < before + 40;)
            SwitchToThread();
        Free(library);
    }
    over = true;
    for (std::thread& thread : threads)
        thread.join();
}
