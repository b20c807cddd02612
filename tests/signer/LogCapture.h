#pragma once

// Collects what one logger is told, for a scope.

#include <log4cxx/appenderskeleton.h>
#include <log4cxx/logger.h>
#include <log4cxx/spi/loggingevent.h>

#include <string>
#include <vector>

class CLogCapture {
public:
    explicit CLogCapture(const char* logger)
        : m_logger(log4cxx::Logger::getLogger(logger)), m_level(m_logger->getLevel()),
          m_appender(std::make_shared<CAppender>()) {
        m_logger->setLevel(log4cxx::Level::getAll());
        m_logger->setAdditivity(false);
        m_logger->addAppender(m_appender);
    }
    CLogCapture(const CLogCapture&) = delete;
    CLogCapture& operator=(const CLogCapture&) = delete;
    ~CLogCapture() {
        m_logger->removeAppender(m_appender);
        m_logger->setAdditivity(true);
        m_logger->setLevel(m_level);
    }

    /// "LEVEL text", in order.
    const std::vector<std::wstring>& Lines() const { return m_appender->lines; }

private:
    class CAppender : public log4cxx::AppenderSkeleton {
    public:
        void close() override {}
        bool requiresLayout() const override { return false; }
        std::vector<std::wstring> lines;

    protected:
        void append(const log4cxx::spi::LoggingEventPtr& event, log4cxx::helpers::Pool&) override {
            std::wstring level;
            event->getLevel()->toString(level);
            std::wstring text;
            log4cxx::helpers::Transcoder::encode(event->getRenderedMessage(), text);
            lines.push_back(level + L" " + text);
        }
    };

    log4cxx::LoggerPtr m_logger;
    log4cxx::LevelPtr m_level;
    std::shared_ptr<CAppender> m_appender;
};
