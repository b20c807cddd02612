// The loggers that a class's log and a trace scope remember, and what they cost while nobody wants their lines. Proves
// ClassLog and TraceScope.

#include "AllocationCount.h"
#include "LogLines.h"
#include "logging/ClassLog.h"
#include "logging/TraceScope.h"

#include <log4cxx/ndc.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {
using testing::ElementsAre;
using testing::IsEmpty;

class CLogged {
public:
    static log4cxx::LoggerPtr SDGetLogger();
    static void Log(log4cxx::LevelPtr level, std::wstring format, ...);
    static void Log(log4cxx::LevelPtr level, const wchar_t* format, ...);
};
QUORLINE_CLASS_LOG(CLogged, L"Quorline.LoggedClass")

std::wstring NameOf(const log4cxx::LoggerPtr& logger) {
    std::wstring name;
    logger->getName(name);
    return name;
}

void WantInfo() {
    log4cxx::Logger::getRootLogger()->setLevel(log4cxx::Level::getInfo());
}

/// Blocks of memory for one, after the first, which finds the logger.
template <class Action> std::uint64_t BlocksOf(Action action) {
    action();
    const CAllocationCount count;
    action();
    return count.Get();
}
} // namespace

TEST(ClassLog, AClassHasItsOwnLoggerWheneverLoggingIsConfigured) {
    CLogLines log(false);
    CLogged::Log(log4cxx::Level::getInfo(), L"{0:%s}", L"before");
    SetLoggingConfigured(true);
    CLogged::Log(log4cxx::Level::getInfo(), L"{0:%s}", L"then");
    CLogged::Log(log4cxx::Level::getInfo(), std::wstring(L"and as a {0:%s}"), L"string");
    EXPECT_EQ(NameOf(CLogged::SDGetLogger()), L"Quorline.LoggedClass");
    SetLoggingConfigured(false);
    CLogged::Log(log4cxx::Level::getInfo(), L"after");
    EXPECT_EQ(NameOf(CLogged::SDGetLogger()), L"LogHelp.EventLogger");
    EXPECT_THAT(log.Get(),
                ElementsAre(L"INFO LogHelp.EventLogger: before", L"INFO Quorline.LoggedClass: then",
                            L"INFO Quorline.LoggedClass: and as a string", L"INFO LogHelp.EventLogger: after"));
}

TEST(ClassLog, ALineBelowTheLevelTakesNoMemory) {
    CLogLines log;
    WantInfo();
    EXPECT_EQ(0u, BlocksOf([] { CLogged::Log(log4cxx::Level::getDebug(), L"Running script '{0:%s}'", L"save.vbs"); }));
    EXPECT_THAT(log.Get(), IsEmpty());
}

TEST(ClassLog, ATraceScopeThatNobodySeesTakesNoMemoryOfItsOwn) {
    const CLogLines log;
    WantInfo();
    const std::wstring name = L"F::Run";
    // What log4cxx takes for its context is its own affair.
    EXPECT_EQ(BlocksOf([&] {
                  log4cxx::NDC::push(name);
                  log4cxx::NDC::pop();
              }),
              BlocksOf([] { const CTraceScope trace(L"F::Run"); }));
    EXPECT_THAT(log.Get(), IsEmpty());
}

TEST(ClassLog, ALevelThatChangesWithinATraceScopeCounts) {
    CLogLines log;
    {
        WantInfo();
        const CTraceScope trace(L"F");
        log4cxx::Logger::getRootLogger()->setLevel(log4cxx::Level::getDebug());
    }
    EXPECT_THAT(log.Texts(), ElementsAre(L"DEBUG Leaving  -> [F]"));
}
