// What a caller sees of a log that cannot be written: nothing. Proves logging/Logging and LostLines.

#include "ImportHook.h"
#include "LogLines.h"
#include "logging/Checks.h"
#include "logging/Logging.h"
#include "logging/LostLines.h"
#include "logging/TraceScope.h"

#include <log4cxx/helpers/exception.h>
#include <log4cxx/ndc.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <new>
#include <thread>

namespace {
using testing::ElementsAre;
using testing::IsEmpty;

constexpr CCodeLocation Here{"Area/Unit", 7, "CUnit::Run"};

/// Stands in for a log file on a full disk, and for appenders of anybody's.
class CFailingAppender : public log4cxx::AppenderSkeleton {
public:
    void append(const log4cxx::spi::LoggingEventPtr&, log4cxx::helpers::Pool&) override {
        if (fail)
            fail();
    }
    void close() override {}
    bool requiresLayout() const override { return false; }

    std::function<void()> fail;
};

class LoggingFailureTest : public testing::Test {
protected:
    LoggingFailureTest() : m_appender(std::make_shared<CFailingAppender>()) {
        // In front of the one that keeps the lines: what fails here is not seen there.
        const auto root = log4cxx::Logger::getRootLogger();
        const auto others = root->getAllAppenders();
        for (const auto& other : others)
            root->removeAppender(other);
        root->addAppender(m_appender);
        for (const auto& other : others)
            root->addAppender(other);
        TakeLostLines();
    }
    ~LoggingFailureTest() override {
        log4cxx::Logger::getRootLogger()->removeAppender(m_appender);
        TakeLostLines();
    }

    void FillDisk() {
        m_appender->fail = [] { throw log4cxx::helpers::IOException("no space left"); };
    }
    void MakeRoom() { m_appender->fail = nullptr; }

    CLogLines m_log;
    std::shared_ptr<CFailingAppender> m_appender;
};

void LogFrom(const log4cxx::LoggerPtr& logger, const std::wstring* format, ...) {
    va_list args;
    va_start(args, format);
    LogToLoggerV(logger, log4cxx::Level::getInfo(), *format, args);
    va_end(args);
}
} // namespace

TEST_F(LoggingFailureTest, WhatCannotBeWrittenIsDroppedAndCountedAndToldOnce) {
    FillDisk();
    LogGlobal(log4cxx::Level::getInfo(), L"{0:%d}", 1);
    LogToNamedLogger(L"Area", log4cxx::Level::getError(), L"two");
    const std::wstring three = L"three";
    LogFrom(GetGlobalLogger(), &three);
    LogTextToLogger(GetGlobalLogger(), log4cxx::Level::getDebug(), L"four");
    EXPECT_THAT(m_log.Take(), IsEmpty());
    MakeRoom();
    LogToNamedLogger(L"Area", log4cxx::Level::getInfo(), L"five");
    LogToNamedLogger(L"Area", log4cxx::Level::getInfo(), L"six");
    EXPECT_THAT(m_log.Take(), ElementsAre(L"WARN TalvinorGlobal: 4 log lines could not be written and are lost",
                                          L"INFO Area: five", L"INFO Area: six"));
}

TEST_F(LoggingFailureTest, TheCountIsKeptUntilItCanBeTold) {
    FillDisk();
    LogGlobal(log4cxx::Level::getInfo(), L"one");
    MakeRoom();
    log4cxx::Logger::getRootLogger()->setLevel(log4cxx::Level::getError());
    LogGlobal(log4cxx::Level::getError(), L"two");
    log4cxx::Logger::getRootLogger()->setLevel(log4cxx::Level::getDebug());
    LogGlobal(log4cxx::Level::getError(), L"three");
    EXPECT_THAT(m_log.Take(), ElementsAre(L"ERROR TalvinorGlobal: two",
                                          L"WARN TalvinorGlobal: 1 log lines could not be written and are lost",
                                          L"ERROR TalvinorGlobal: three"));
}

TEST_F(LoggingFailureTest, LinesBelowTheLevelAreNotMissed) {
    FillDisk();
    log4cxx::Logger::getRootLogger()->setLevel(log4cxx::Level::getError());
    LogGlobal(log4cxx::Level::getInfo(), L"one");
    EXPECT_EQ(TakeLostLines(), 0u);
}

TEST_F(LoggingFailureTest, WhateverIsThrownStaysInside) {
    for (const std::function<void()>& fail : std::initializer_list<std::function<void()>>{
             [] { throw std::bad_alloc(); }, [] { throw CMorvaneException(); }, [] { throw 5; }}) {
        m_appender->fail = fail;
        LogGlobal(log4cxx::Level::getInfo(), L"x");
        { const CTraceScope trace(L"F", L"name", L"value"); }
        LogHResultFailure(Here, E_FAIL, L"x");
        EXPECT_EQ(TakeLostLines(), 4u);
    }
}

TEST_F(LoggingFailureTest, ChecksThrowWhatTheyAlwaysThrow) {
    FillDisk();
    EXPECT_THROW(CheckWin32Error(Here, 5, L"x"), COSException);
    EXPECT_THROW(CheckWin32Error(Here, 5, "x"), COSException);
    EXPECT_THROW(CheckHResult(Here, E_FAIL, L"x"), COSException);
    EXPECT_THROW(CheckHResult(Here, E_FAIL, "x"), COSException);
    EXPECT_THROW(CheckCrtError(Here, "x", 2), COSException);
    EXPECT_THROW(SanityCheckFailed(Here, L"x"), CMorvaneException);
    EXPECT_THROW(SanityCheckFailed(Here, "x"), CMorvaneException);
    LogWin32Error(Here, 5, L"x");
    LogWin32Error(Here, 5, "x");
    LogHResultFailure(Here, E_FAIL, L"x");
    LogHResultFailure(Here, E_FAIL, "x");
    LogApiCallFailure(Here, 5, "x");
    EXPECT_EQ(TakeLostLines(), 12u);
}

TEST_F(LoggingFailureTest, ATraceScopeLeavesTheContextAsItWas) {
    FillDisk();
    {
        const CTraceScope outer(L"COuter::Run");
        EXPECT_EQ(log4cxx::NDC::getDepth(), 1);
        { const CTraceScope inner(L"CInner::Run"); }
        EXPECT_EQ(log4cxx::NDC::getDepth(), 1);
        // An exception on its way takes the scopes with it.
        EXPECT_THROW(
            {
                const CTraceScope failing(L"CFailing::Run");
                SanityCheckFailed(Here, L"x");
            },
            CMorvaneException);
        EXPECT_EQ(log4cxx::NDC::getDepth(), 1);
    }
    EXPECT_EQ(log4cxx::NDC::getDepth(), 0);
    EXPECT_EQ(TakeLostLines(), 7u);
}

TEST_F(LoggingFailureTest, TheThreadsLastErrorStays) {
    FillDisk();
    SetLastError(122);
    LogGlobal(log4cxx::Level::getInfo(), L"x");
    { const CTraceScope trace(L"F"); }
    EXPECT_EQ(GetLastError(), 122u);
}

TEST_F(LoggingFailureTest, OfManyThreadsEachLineIsWrittenOrCounted) {
    constexpr unsigned Threads = 8;
    constexpr unsigned Lines = 500;
    std::atomic<unsigned> calls{0};
    m_appender->fail = [&] {
        if (++calls % 3 == 0)
            throw log4cxx::helpers::IOException("no space left");
    };
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < Threads; ++i)
        threads.emplace_back([] {
            for (unsigned line = 0; line < Lines; ++line)
                LogToNamedLogger(L"Area", log4cxx::Level::getInfo(), L"line");
        });
    for (std::thread& thread : threads)
        thread.join();
    MakeRoom();
    LogToNamedLogger(L"Last", log4cxx::Level::getInfo(), L"line");
    unsigned long told = 0;
    for (const CLoggedLine& line : m_log.All())
        if (line.level == L"WARN")
            told += std::wcstoul(line.text.c_str(), nullptr, 10);
    EXPECT_EQ(m_log.Of(L"Area").size() + told, Threads * Lines);
}

namespace {
/// Fails one allocation of the C++ runtime on the thread that counts; every module's `new` comes to it.
thread_local long g_untilFailure = -1;
void* FailingMalloc(std::size_t size) {
    if (g_untilFailure >= 0 && g_untilFailure-- == 0)
        return nullptr;
    return std::malloc(size);
}

/// Runs the action again and again, each time with a later allocation failing, until none is left to fail. The number
/// of those that failed.
long FailEachAllocation(const std::function<void()>& action) {
    for (long count = 0;; ++count) {
        g_untilFailure = count;
        action();
        const bool failed = g_untilFailure < 0;
        g_untilFailure = -1;
        if (!failed)
            return count;
    }
}
} // namespace

TEST_F(LoggingFailureTest, NoMemoryCostsALineAndNothingElse) {
    const CImportHook hook(GetModuleHandleW(L"libstdc++-6.dll"), "malloc", &FailingMalloc);
    const log4cxx::LoggerPtr logger = GetGlobalLogger();
    const std::wstring text(40, L'x');
    const std::wstring format = L"{0:%s} and {1:%d}";
    const std::wstring name = L"Area.Unit.Part";
    EXPECT_GT(FailEachAllocation([&] { LogTextToLogger(logger, log4cxx::Level::getInfo(), text); }), 3);
    EXPECT_GT(FailEachAllocation([&] { LogFrom(logger, &format, text.c_str(), 5); }), 3);
    EXPECT_GT(FailEachAllocation([&] { LogToNamedLogger(name, log4cxx::Level::getInfo(), L"{0:%d}", 5); }), 3);
    EXPECT_TRUE(m_log.HasPrefix(L"WARN TalvinorGlobal: 1 log lines could not be written"));
}

TEST_F(LoggingFailureTest, WithoutMemoryAChecksOwnExceptionComes) {
    const CImportHook hook(GetModuleHandleW(L"libstdc++-6.dll"), "malloc", &FailingMalloc);
    EXPECT_GT(FailEachAllocation([&] { EXPECT_THROW(CheckWin32Error(Here, 5, L"message"), COSException); }), 3);
    EXPECT_GT(FailEachAllocation([&] { EXPECT_THROW(SanityCheckFailed(Here, "message"), CMorvaneException); }), 3);
}

TEST_F(LoggingFailureTest, WithoutMemoryATraceScopeLeavesTheContextAsItWas) {
    const CImportHook hook(GetModuleHandleW(L"libstdc++-6.dll"), "malloc", &FailingMalloc);
    EXPECT_GT(FailEachAllocation([&] {
                  // Names so short that the caller needs no memory for them.
                  const CTraceScope trace(L"CA::F", L"name", L"value");
              }),
              3);
    EXPECT_EQ(log4cxx::NDC::getDepth(), 0);
}
