#pragma once

// What is logged while one of these lives, a line "LEVEL logger: text" each, DEBUG included. Logging counts as
// configured meanwhile.

#include "logging/LogState.h"

#include <log4cxx/appenderskeleton.h>
#include <log4cxx/helpers/transcoder.h>
#include <log4cxx/logger.h>
#include <log4cxx/spi/loggingevent.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

class CLogLines {
public:
    CLogLines() : m_appender(std::make_shared<CAppender>()), m_configured(IsLoggingConfigured()) {
        const auto root = log4cxx::Logger::getRootLogger();
        root->setLevel(log4cxx::Level::getDebug());
        root->addAppender(m_appender);
        SetLoggingConfigured(true);
    }
    ~CLogLines() {
        log4cxx::Logger::getRootLogger()->removeAppender(m_appender);
        SetLoggingConfigured(m_configured);
    }
    CLogLines(const CLogLines&) = delete;
    CLogLines& operator=(const CLogLines&) = delete;

    const std::vector<std::wstring>& Get() const { return m_appender->lines; }
    bool Has(const std::wstring& line) const { return std::ranges::find(Get(), line) != Get().end(); }
    bool HasPrefix(const std::wstring& start) const {
        return std::ranges::any_of(Get(), [&](const std::wstring& line) { return line.starts_with(start); });
    }
    void Clear() { m_appender->lines.clear(); }

private:
    struct CAppender : log4cxx::AppenderSkeleton {
        std::vector<std::wstring> lines;

        void append(const log4cxx::spi::LoggingEventPtr& event, log4cxx::helpers::Pool&) override {
            LOG4CXX_ENCODE_WCHAR(level, event->getLevel()->toString());
            LOG4CXX_ENCODE_WCHAR(logger, event->getLoggerName());
            LOG4CXX_ENCODE_WCHAR(text, event->getRenderedMessage());
            lines.push_back(level + L" " + logger + L": " + text);
        }
        void close() override {}
        bool requiresLayout() const override { return false; }
    };

    std::shared_ptr<CAppender> m_appender;
    bool m_configured;
};
