#include "logging/LogFileAppender.h"

#include "logging/LogAppenders.h"

#include <log4cxx/helpers/pool.h>
#include <log4cxx/patternlayout.h>
#include <log4cxx/rolling/fixedwindowrollingpolicy.h>
#include <log4cxx/rolling/rollingfileappender.h>

#include <algorithm>

namespace {
using log4cxx::rolling::FixedWindowRollingPolicy;
using log4cxx::rolling::RollingFileAppender;

constexpr unsigned long MostBytes = 0x7FFFFFFF; // log4cxx reads a signed number
constexpr unsigned long MostBackups = FixedWindowRollingPolicy::MAX_WINDOW_SIZE + 1;

/// A percent sign in a folder's name is none of the pattern's.
std::wstring EscapePattern(const std::wstring& path) {
    std::wstring pattern;
    for (const wchar_t c : path)
        pattern.append(c == L'%' ? 2 : 1, c);
    return pattern;
}

/// The appender would make one itself, from the file's name as it stands.
log4cxx::rolling::RollingPolicyPtr MakeRollingPolicy(const std::wstring& path) {
    const auto policy =
        MakeLog4cxxObject<FixedWindowRollingPolicy>("org.apache.log4j.rolling.FixedWindowRollingPolicy");
    policy->setOption("filenamepattern", ToLogString(EscapePattern(path) + L".%i"));
    return policy;
}
} // namespace

const log4cxx::LogString& GetLogFileAppenderName() {
    static const log4cxx::LogString name = LOG4CXX_STR("TalvinorLogFile");
    return name;
}

log4cxx::AppenderPtr MakeLogFileAppender() {
    const auto layout = MakeLog4cxxObject<log4cxx::PatternLayout>("org.apache.log4j.PatternLayout");
    layout->setConversionPattern(LOG4CXX_STR("%d [%t] %-5p %c [%x] - %m%n"));
    const auto appender = MakeLog4cxxObject<RollingFileAppender>("org.apache.log4j.rolling.RollingFileAppender");
    appender->setName(GetLogFileAppenderName());
    appender->setLayout(layout);
    appender->setOption("encoding", "UTF-8");
    return appender;
}

void SetLogFileOptions(log4cxx::Appender& appender, const CLogFileSettings& settings) {
    appender.setOption("filename", ToLogString(settings.path));
    if (auto* const rolling = dynamic_cast<RollingFileAppender*>(&appender))
        rolling->setRollingPolicy(MakeRollingPolicy(settings.path));
    appender.setOption("maxfilesize", std::to_string(std::min(settings.maxBytes, MostBytes)));
    const unsigned long backups = settings.maxFiles > 1 ? settings.maxFiles - 1 : 0;
    appender.setOption("maxbackupindex", std::to_string(std::min(backups, MostBackups)));
}

void OpenLogFile(log4cxx::Appender& appender) {
    log4cxx::helpers::Pool pool;
    appender.activateOptions(pool);
}
