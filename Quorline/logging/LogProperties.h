#pragma once

// A component's log4cxx properties file, read apart from the loggers that are in use: log4cxx's own reader closes a
// logger's appenders before it has the new ones, and the lines of other threads between the two are lost.

#include <log4cxx/hierarchy.h>
#include <log4cxx/helpers/properties.h>
#include <log4cxx/logger.h>

#include <string>

class CLogAppenders;

class CLogProperties {
public:
    /// Reads the file; throws log4cxx's exceptions when it cannot be read. What log4cxx does not understand in it is
    /// left out.
    explicit CLogProperties(const std::wstring& file);
    ~CLogProperties();

    CLogProperties(const CLogProperties&) = delete;
    CLogProperties& operator=(const CLogProperties&) = delete;

    /// True when the file has a line on the root logger, which decides what appenders that has. Its level does not
    /// count.
    bool DefinesRoot();
    log4cxx::AppenderList GetRootAppenders() const;

    /// Sets level, additivity and appenders of every logger that the file names, other than the root.
    void ApplyToLoggers(CLogAppenders& appenders);

private:
    bool LeavesLevel(const log4cxx::LogString& loggerName);

    log4cxx::helpers::Properties m_properties;
    log4cxx::HierarchyPtr m_loggers;
};
