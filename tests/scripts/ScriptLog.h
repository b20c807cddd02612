#pragma once

// What is logged while one of these lives, a line "LEVEL logger: text" each. Logging counts as configured meanwhile.

#include "logging/LogState.h"

#include <log4cxx/appenderskeleton.h>
#include <log4cxx/helpers/transcoder.h>
#include <log4cxx/logger.h>
#include <log4cxx/spi/loggingevent.h>

#include <memory>
#include <string>
#include <vector>

class CScriptLog {
public:
    CScriptLog() {
        const auto root = log4cxx::Logger::getRootLogger();
        root->removeAllAppenders();
        root->setLevel(log4cxx::Level::getDebug());
        root->addAppender(m_appender);
        SetLoggingConfigured(true);
    }
    ~CScriptLog() {
        SetLoggingConfigured(false);
        log4cxx::Logger::getRootLogger()->removeAppender(m_appender);
    }
    CScriptLog(const CScriptLog&) = delete;
    CScriptLog& operator=(const CScriptLog&) = delete;

    /// The lines so far, which are then forgotten.
    std::vector<std::wstring> Take() { return std::exchange(m_appender->lines, {}); }

private:
    class CAppender : public log4cxx::AppenderSkeleton {
    public:
        void append(const log4cxx::spi::LoggingEventPtr& event, log4cxx::helpers::Pool&) override {
            std::wstring line;
            log4cxx::helpers::Transcoder::encode(event->getLevel()->toString() + LOG4CXX_STR(" ") +
                                                     event->getLoggerName() + LOG4CXX_STR(": ") +
                                                     event->getRenderedMessage(),
                                                 line);
            lines.push_back(line);
        }
        void close() override {}
        bool requiresLayout() const override { return false; }

        std::vector<std::wstring> lines;
    };

    std::shared_ptr<CAppender> m_appender = std::make_shared<CAppender>();
};
