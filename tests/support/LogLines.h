#pragma once

// What is logged while one of these lives, from every thread and from DEBUG on. Logging counts as configured meanwhile,
// unless asked otherwise.

#include "logging/LogState.h"

#include <log4cxx/appenderskeleton.h>
#include <log4cxx/helpers/transcoder.h>
#include <log4cxx/logger.h>
#include <log4cxx/ndc.h>
#include <log4cxx/spi/loggingevent.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

using CTexts = std::vector<std::wstring>;

/// One line as it came to the appender.
struct CLoggedLine {
    std::wstring level;
    std::wstring logger;
    std::wstring text;
    std::wstring context; ///< the nested diagnostic context, outermost first
};

class CLogLines {
public:
    explicit CLogLines(bool configured = true)
        : m_root(log4cxx::Logger::getRootLogger()), m_appender(std::make_shared<CAppender>()),
          m_levelBefore(m_root->getLevel()), m_configuredBefore(IsLoggingConfigured()) {
        m_root->setLevel(log4cxx::Level::getDebug());
        m_root->addAppender(m_appender);
        SetLoggingConfigured(configured);
    }
    ~CLogLines() {
        SetLoggingConfigured(m_configuredBefore);
        m_root->removeAppender(m_appender);
        m_root->setLevel(m_levelBefore);
    }

    CLogLines(const CLogLines&) = delete;
    CLogLines& operator=(const CLogLines&) = delete;

    std::vector<CLoggedLine> All() const {
        const std::lock_guard lock(m_appender->guard);
        return m_appender->lines;
    }

    /// Each line as "LEVEL logger: text".
    CTexts Get() const {
        return Select([](const CLoggedLine&) { return true; },
                      [](const CLoggedLine& line) { return line.level + L" " + line.logger + L": " + line.text; });
    }
    /// Each line as "LEVEL text".
    CTexts Texts() const {
        return Select([](const CLoggedLine&) { return true; }, &WithLevel);
    }
    /// The lines of one logger, as "LEVEL text".
    CTexts Of(const std::wstring& logger) const {
        return Select([&](const CLoggedLine& line) { return line.logger == logger; }, &WithLevel);
    }
    /// The lines at one level, as "logger: text".
    CTexts At(const std::wstring& level) const {
        return Select([&](const CLoggedLine& line) { return line.level == level; },
                      [](const CLoggedLine& line) { return line.logger + L": " + line.text; });
    }

    bool Has(const std::wstring& line) const {
        const CTexts lines = Get();
        return std::ranges::find(lines, line) != lines.end();
    }
    bool HasPrefix(const std::wstring& start) const {
        return std::ranges::any_of(Get(), [&](const std::wstring& line) { return line.starts_with(start); });
    }

    void Clear() {
        const std::lock_guard lock(m_appender->guard);
        m_appender->lines.clear();
    }
    /// As Get; the lines are then forgotten.
    CTexts Take() {
        CTexts lines = Get();
        Clear();
        return lines;
    }

private:
    class CAppender : public log4cxx::AppenderSkeleton {
    public:
        void append(const log4cxx::spi::LoggingEventPtr& event, log4cxx::helpers::Pool&) override {
            log4cxx::LogString context;
            event->getNDC(context);
            const std::lock_guard lock(guard);
            lines.push_back({Wide(event->getLevel()->toString()), Wide(event->getLoggerName()),
                             Wide(event->getRenderedMessage()), Wide(context)});
        }
        void close() override {}
        bool requiresLayout() const override { return false; }

        std::mutex guard;
        std::vector<CLoggedLine> lines;

    private:
        static std::wstring Wide(const log4cxx::LogString& text) {
            std::wstring wide;
            log4cxx::helpers::Transcoder::encode(text, wide);
            return wide;
        }
    };

    static std::wstring WithLevel(const CLoggedLine& line) { return line.level + L" " + line.text; }

    template <class Wanted, class Show> CTexts Select(Wanted wanted, Show show) const {
        const std::lock_guard lock(m_appender->guard);
        CTexts texts;
        for (const CLoggedLine& line : m_appender->lines)
            if (wanted(line))
                texts.push_back(show(line));
        return texts;
    }

    log4cxx::LoggerPtr m_root;
    std::shared_ptr<CAppender> m_appender;
    log4cxx::LevelPtr m_levelBefore;
    bool m_configuredBefore;
};
