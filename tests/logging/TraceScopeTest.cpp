// Proves the lines and the context of a traced function: logging/TraceScope.

#include "FailingMemory.h"
#include "LogLines.h"
#include "logging/LostLines.h"
#include "logging/TraceScope.h"

#include <log4cxx/ndc.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <functional>

namespace {
using testing::ElementsAre;
using testing::IsEmpty;

std::wstring Top() {
    std::wstring top;
    log4cxx::NDC::peek(top);
    return top;
}

/// Opens scopes one within another and calls the action in the innermost.
void Nest(int count, const std::function<void()>& action) {
    if (count == 0)
        return action();
    const CTraceScope trace(L"F" + std::to_wstring(count));
    Nest(count - 1, action);
}
} // namespace

TEST(TraceScope, EntryAndExitAreLoggedUnderTheClass) {
    CLogLines log;
    { const CTraceScope trace(L"CScriptRunner::RunScript"); }
    { const CTraceScope trace(L"Free"); }
    { const CTraceScope trace(L"CA::Inner::Run"); }
    EXPECT_THAT(log.Get(), ElementsAre(L"DEBUG Trace.CScriptRunner: Entering -> [CScriptRunner::RunScript]",
                                       L"DEBUG Trace.CScriptRunner: Leaving  -> [CScriptRunner::RunScript]",
                                       L"DEBUG Trace: Entering -> [Free]", L"DEBUG Trace: Leaving  -> [Free]",
                                       L"DEBUG Trace.CA: Entering -> [CA::Inner::Run]",
                                       L"DEBUG Trace.CA: Leaving  -> [CA::Inner::Run]"));
}

TEST(TraceScope, TheNamesDecideWhichValuesAreShown) {
    CLogLines log;
    { const CTraceScope trace(L"F", L"a", L"1", L"b", L"2"); }
    { const CTraceScope trace(L"F", L"a", L"1"); }
    { const CTraceScope trace(L"F", L"a", L"", L"b", L""); }
    { const CTraceScope trace(L"F", L"a", L"1", L"", L"2"); }
    { const CTraceScope trace(L"F", L"", L"1", L"b", L"2"); }
    EXPECT_THAT(log.Texts(), ElementsAre(L"DEBUG Entering -> [F] (a=1, b=2)", L"DEBUG Leaving  -> [F] (a=1, b=2)",
                                         L"DEBUG Entering -> [F] (a=1)", L"DEBUG Leaving  -> [F] (a=1)",
                                         L"DEBUG Entering -> [F] (a=, b=)", L"DEBUG Leaving  -> [F] (a=, b=)",
                                         L"DEBUG Entering -> [F] (a=1)", L"DEBUG Leaving  -> [F] (a=1)",
                                         L"DEBUG Entering -> [F]", L"DEBUG Leaving  -> [F]"));
}

TEST(TraceScope, ValuesAreNotTakenForFormats) {
    CLogLines log;
    { const CTraceScope trace(L"{9:%s}", L"%n", L"{0:%q}"); }
    EXPECT_EQ(log.Texts()[0], L"DEBUG Entering -> [{9:%s}] (%n={0:%q})");
}

TEST(TraceScope, TheContextGrowsToFiveNamesAndOneMark) {
    const CLogLines log;
    ASSERT_EQ(log4cxx::NDC::getDepth(), 0);
    Nest(5, [] { EXPECT_EQ(log4cxx::NDC::getDepth(), 5); });
    Nest(6, [] {
        EXPECT_EQ(log4cxx::NDC::getDepth(), 6);
        EXPECT_EQ(Top(), L"...");
    });
    Nest(20, [] {
        EXPECT_EQ(log4cxx::NDC::getDepth(), 6);
        EXPECT_EQ(Top(), L"...");
        { const CTraceScope trace(L"Deep"); }
        EXPECT_EQ(log4cxx::NDC::getDepth(), 6);
    });
    EXPECT_EQ(log4cxx::NDC::getDepth(), 0);
}

TEST(TraceScope, ALineKnowsTheFunctionsAroundIt) {
    CLogLines log;
    Nest(2, [] {});
    EXPECT_EQ(log.All()[1].context, L"F2 F1");
}

TEST(TraceScope, UnconfiguredItIsSilentForItsLife) {
    CLogLines log(false);
    {
        const CTraceScope trace(L"F");
        SetLoggingConfigured(true);
        EXPECT_EQ(log4cxx::NDC::getDepth(), 0);
    }
    EXPECT_THAT(log.Get(), IsEmpty());
}

TEST(TraceScope, AnActiveOneFinishesWhenTheFlagDrops) {
    CLogLines log;
    {
        const CTraceScope trace(L"F");
        SetLoggingConfigured(false);
    }
    EXPECT_THAT(log.Texts(), ElementsAre(L"DEBUG Entering -> [F]", L"DEBUG Leaving  -> [F]"));
    EXPECT_EQ(log4cxx::NDC::getDepth(), 0);
}

TEST(TraceScope, TheContextIsKeptWhenDebugIsOff) {
    CLogLines log;
    log4cxx::Logger::getRootLogger()->setLevel(log4cxx::Level::getInfo());
    const CTraceScope trace(L"F");
    EXPECT_EQ(Top(), L"F");
    EXPECT_THAT(log.Get(), IsEmpty());
}

TEST(TraceScope, TheThreadsLastErrorStays) {
    const CLogLines log;
    SetLastError(122);
    {
        const CTraceScope trace(L"F");
        EXPECT_EQ(GetLastError(), 122u);
        SetLastError(123);
    }
    EXPECT_EQ(GetLastError(), 123u);
}

TEST(TraceScope, WithoutMemoryTheFunctionGoesOn) {
    const CLogLines log;
    for (int blocks = 0; blocks < 20; ++blocks) {
        const CFailingMemory memory(blocks);
        EXPECT_NO_THROW(const CTraceScope trace(L"CSecurityUtils::RevertDesktop")) << blocks;
    }
    EXPECT_EQ(log4cxx::NDC::getDepth(), 0);
    TakeLostLines(); // or the next test's first line tells of them
}
