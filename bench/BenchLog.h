#pragma once

// A log as an installed library has it: INFO and above, written to the log file by the appender that the library makes,
// in a folder that goes with the object.

#include "logging/LogAppenders.h"
#include "logging/LogFileAppender.h"
#include "logging/LogState.h"
#include "logging/LineLayout.h"
#include "TempFolder.h"

#include <log4cxx/logger.h>

class CBenchLog {
public:
    CBenchLog() : m_root(log4cxx::Logger::getRootLogger()), m_appender(MakeLogFileAppender()) {
        const CLogFileSettings settings{m_folder.Path(L"bench.log"), 100'000'000, 2};
        CLogAppenders::ShowControlsIn(m_appender, settings.path);
        SetLogFileOptions(*m_appender, settings);
        OpenLogFile(*m_appender);
        m_root->setLevel(log4cxx::Level::getInfo());
        m_root->addAppender(m_appender);
        SetLoggingConfigured(true);
    }
    ~CBenchLog() {
        SetLoggingConfigured(false);
        m_root->removeAppender(m_appender);
        m_appender->close();
    }
    CBenchLog(const CBenchLog&) = delete;
    CBenchLog& operator=(const CBenchLog&) = delete;

private:
    CTempFolder m_folder;
    log4cxx::LoggerPtr m_root;
    log4cxx::AppenderPtr m_appender;
};
