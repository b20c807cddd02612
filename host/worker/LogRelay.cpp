#include "LogRelay.h"

#include "Console.h"

#include <log4cxx/appenderskeleton.h>
#include <log4cxx/spi/loggingevent.h>

#include <algorithm>

namespace {
CMessageEvent MessageOf(const log4cxx::spi::LoggingEvent& event) {
    return {FromUtf8(event.getLevel()->toString()), FromUtf8(event.getLoggerName()),
            FromUtf8(event.getRenderedMessage())};
}

/// Of a logger all of whose lines are wanted.
class CLineAppender : public log4cxx::AppenderSkeleton {
public:
    /// `above` gets what it would have got by itself; null where it does.
    CLineAppender(const CLogRelay::Sink& sink, log4cxx::LoggerPtr above) : m_sink(sink), m_above(std::move(above)) {}

    void close() override {}
    bool requiresLayout() const override { return false; }

protected:
    void append(const log4cxx::spi::LoggingEventPtr& event, log4cxx::helpers::Pool& pool) override {
        if (m_above && event->getLevel()->isGreaterOrEqual(m_above->getEffectiveLevel()))
            m_above->callAppenders(event, pool);
        m_sink(MessageOf(*event));
    }

private:
    const CLogRelay::Sink& m_sink;
    const log4cxx::LoggerPtr m_above;
};

/// Of the root: the errors of loggers that have no appender of their own here.
class CErrorAppender : public log4cxx::AppenderSkeleton {
public:
    CErrorAppender(const CLogRelay::Sink& sink, std::vector<std::string> others)
        : m_sink(sink), m_others(std::move(others)) {}

    void close() override {}
    bool requiresLayout() const override { return false; }

protected:
    void append(const log4cxx::spi::LoggingEventPtr& event, log4cxx::helpers::Pool&) override {
        if (event->getLevel()->isGreaterOrEqual(log4cxx::Level::getError()) &&
            std::find(m_others.begin(), m_others.end(), event->getLoggerName()) == m_others.end())
            m_sink(MessageOf(*event));
    }

private:
    const CLogRelay::Sink& m_sink;
    const std::vector<std::string> m_others;
};
} // namespace

CLogRelay::CLogRelay(const std::vector<std::string>& loggers, Sink sink) : m_sink(std::move(sink)) {
    for (const auto& name : loggers) {
        const log4cxx::LoggerPtr logger = log4cxx::Logger::getLogger(name);
        // One that the log's settings have given a level says no more than that.
        const bool opened = logger->getLevel() == nullptr;
        Put(logger, std::make_shared<CLineAppender>(m_sink, opened ? logger->getParent() : nullptr), opened);
    }
    Put(log4cxx::Logger::getRootLogger(), std::make_shared<CErrorAppender>(m_sink, loggers), false);
}

void CLogRelay::Put(const log4cxx::LoggerPtr& logger, const log4cxx::AppenderPtr& appender, bool opened) {
    m_relayed.push_back({logger, appender, opened});
    logger->addAppender(appender);
    if (!opened)
        return;
    // The appender passes on what the levels above let through: by themselves lines ask the first logger's alone.
    logger->setAdditivity(false);
    logger->setLevel(log4cxx::Level::getDebug());
}

CLogRelay::~CLogRelay() {
    for (const auto& [logger, appender, opened] : m_relayed) {
        if (opened) {
            logger->setLevel(nullptr);
            logger->setAdditivity(true);
        }
        logger->removeAppender(appender);
    }
}
