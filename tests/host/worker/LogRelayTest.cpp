// Proves which lines are handed on while an operation runs, and that loggers are afterwards as they were: LogRelay.

#include "LogRelay.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {
using testing::ElementsAre;
using testing::IsEmpty;

/// A logger that nothing else logs with.
class LogRelay : public testing::Test {
protected:
    CLogRelay::Sink Sink() {
        return [this](const CMessageEvent& event) { m_lines.push_back(event.level + L" " + event.text); };
    }
    void SayAll() const {
        m_logger->debug("a detail");
        m_logger->error("an error");
    }

    const log4cxx::LoggerPtr m_logger = log4cxx::Logger::getLogger("LogRelayTest");
    std::vector<std::wstring> m_lines;
};
} // namespace

TEST_F(LogRelay, EveryLineOfALoggerIsHandedOnAndOfOthersTheErrors) {
    const CLogRelay relay({"LogRelayTest"}, Sink());
    SayAll();
    const log4cxx::LoggerPtr other = log4cxx::Logger::getLogger("LogRelayTestOther");
    other->warn("a warning of another");
    other->error("an error of another");
    EXPECT_THAT(m_lines, ElementsAre(L"DEBUG a detail", L"ERROR an error", L"ERROR an error of another"));
}

TEST_F(LogRelay, AfterwardsALoggerSaysWhatItSaidBefore) {
    { const CLogRelay relay({"LogRelayTest"}, Sink()); }
    EXPECT_EQ(m_logger->getLevel(), nullptr);
    EXPECT_TRUE(m_logger->getAdditivity());
    EXPECT_THAT(m_logger->getAllAppenders(), IsEmpty());
    SayAll();
    EXPECT_THAT(m_lines, IsEmpty());
}

TEST_F(LogRelay, ALevelThatTheSettingsHaveGivenStays) {
    m_logger->setLevel(log4cxx::Level::getError());
    {
        const CLogRelay relay({"LogRelayTest"}, Sink());
        SayAll();
    }
    EXPECT_EQ(m_logger->getLevel(), log4cxx::Level::getError());
    EXPECT_THAT(m_lines, ElementsAre(L"ERROR an error"));
    m_logger->setLevel(nullptr);
}
