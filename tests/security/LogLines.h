#pragma once

// What is logged while it lives, from DEBUG on, each line as "LEVEL text". Takes logging for configured meanwhile.

#include "logging/LogState.h"

#include <log4cxx/appenderskeleton.h>
#include <log4cxx/helpers/transcoder.h>
#include <log4cxx/logger.h>
#include <log4cxx/spi/loggingevent.h>

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

using CTexts = std::vector<std::wstring>;

class CLogLines {
public:
    CLogLines()
        : m_root(log4cxx::Logger::getRootLogger()), m_appender(std::make_shared<CAppender>()),
          m_levelBefore(m_root->getLevel()), m_configuredBefore(IsLoggingConfigured()) {
        m_root->setLevel(log4cxx::Level::getDebug());
        m_root->addAppender(m_appender);
        SetLoggingConfigured(true);
    }
    ~CLogLines() {
        SetLoggingConfigured(m_configuredBefore);
        m_root->removeAppender(m_appender);
        m_root->setLevel(m_levelBefore);
    }

    CLogLines(const CLogLines&) = delete;
    CLogLines& operator=(const CLogLines&) = delete;

    CTexts Texts() const {
        const std::lock_guard lock(m_appender->guard);
        CTexts texts;
        for (const auto& [logger, text] : m_appender->lines)
            texts.push_back(text);
        return texts;
    }

    /// The lines of one logger.
    CTexts Of(const std::wstring& name) const {
        const std::lock_guard lock(m_appender->guard);
        CTexts texts;
        for (const auto& [logger, text] : m_appender->lines)
            if (logger == name)
                texts.push_back(text);
        return texts;
    }

private:
    class CAppender : public log4cxx::AppenderSkeleton {
    public:
        void append(const log4cxx::spi::LoggingEventPtr& event, log4cxx::helpers::Pool&) override {
            const std::lock_guard lock(guard);
            lines.emplace_back(Wide(event->getLoggerName()),
                               Wide(event->getLevel()->toString()) + L" " + Wide(event->getRenderedMessage()));
        }
        void close() override {}
        bool requiresLayout() const override { return false; }

        std::mutex guard;
        std::vector<std::pair<std::wstring, std::wstring>> lines;

    private:
        static std::wstring Wide(const log4cxx::LogString& text) {
            std::wstring wide;
            log4cxx::helpers::Transcoder::encode(text, wide);
            return wide;
        }
    };

    log4cxx::LoggerPtr m_root;
    std::shared_ptr<CAppender> m_appender;
    log4cxx::LevelPtr m_levelBefore;
    bool m_configuredBefore;
};
