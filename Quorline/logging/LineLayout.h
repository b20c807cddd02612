#pragma once

// Stands around the layout of an appender that writes lines, so that what goes out as one line is one line: line
// breaks, other control characters and bidirectional overrides in a message are written as escapes. The message itself,
// as other appenders and filters see it, stays as it is.
//
// The one object of the library's own code that log4cxx holds: whoever installs one has to take it out again before the
// library is unloaded. Called by log4cxx under its appender's lock.

#include <log4cxx/layout.h>

#include <atomic>
#include <string>

class CLineLayout : public log4cxx::Layout {
public:
    /// `logFile` is empty for every appender but that of the log file, for which the layout keeps LogState's word on
    /// whether the file is open, and ends a line that was cut off.
    CLineLayout(log4cxx::LayoutPtr inner, std::wstring logFile);

    const log4cxx::LayoutPtr& GetInner() const noexcept { return m_inner; }

    /// Another appender is the log file now; this one may live until the last line that it was given is written.
    void Unfollow() noexcept { m_followed = false; }

    void format(log4cxx::LogString& output, const log4cxx::spi::LoggingEventPtr& event,
                log4cxx::helpers::Pool& pool) const override;
    /// The file has been opened.
    void appendHeader(log4cxx::LogString& output, log4cxx::helpers::Pool& pool) override;
    /// The file is about to be closed.
    void appendFooter(log4cxx::LogString& output, log4cxx::helpers::Pool& pool) override;

    log4cxx::LogString getContentType() const override { return m_inner->getContentType(); }
    bool ignoresThrowable() const override { return m_inner->ignoresThrowable(); }
    void activateOptions(log4cxx::helpers::Pool& pool) override { m_inner->activateOptions(pool); }
    void setOption(const log4cxx::LogString& option, const log4cxx::LogString& value) override {
        m_inner->setOption(option, value);
    }

private:
    bool EndsInLine() const noexcept;

    log4cxx::LayoutPtr m_inner;
    std::wstring m_logFile;
    std::atomic<bool> m_followed;
};
