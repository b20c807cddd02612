#pragma once

// Hands lines of the log on while an operation runs: every line of some loggers, whatever the log itself takes of them,
// and the errors of all others. The log gets what it would have got.

#include "WorkerEvent.h"

#include <log4cxx/appender.h>
#include <log4cxx/logger.h>

#include <functional>
#include <string>
#include <vector>

class CLogRelay {
public:
    /// Called on the thread that logs, once the log has the line. Must not log itself.
    using Sink = std::function<void(const CMessageEvent&)>;

    /// Takes the lines of these loggers, from DEBUG on where the log's settings give them no level of their own.
    CLogRelay(const std::vector<std::string>& loggers, Sink sink);
    ~CLogRelay();
    CLogRelay(const CLogRelay&) = delete;
    CLogRelay& operator=(const CLogRelay&) = delete;

private:
    struct CRelayed {
        log4cxx::LoggerPtr logger;
        log4cxx::AppenderPtr appender;
        bool opened; ///< has been given a level of its own, and an end to its way up
    };

    void Put(const log4cxx::LoggerPtr& logger, const log4cxx::AppenderPtr& appender, bool opened);

    const Sink m_sink;
    std::vector<CRelayed> m_relayed;
};
