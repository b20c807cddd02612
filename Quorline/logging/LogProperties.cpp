#include "logging/LogProperties.h"

#include "logging/LogAppenders.h"

#include <log4cxx/helpers/fileinputstream.h>
#include <log4cxx/helpers/optionconverter.h>
#include <log4cxx/logmanager.h>
#include <log4cxx/propertyconfigurator.h>

namespace {
/// Closing is left to the last who holds one: by now that may be a logger in use.
void LetGo(log4cxx::Logger& logger) {
    for (const log4cxx::AppenderPtr& appender : logger.getAllAppenders())
        logger.removeAppender(appender);
}
} // namespace

CLogProperties::CLogProperties(const std::wstring& file) : m_loggers(log4cxx::Hierarchy::create()) {
    m_properties.load(std::make_shared<log4cxx::helpers::FileInputStream>(ToLogString(file)));
    log4cxx::PropertyConfigurator().doConfigure(m_properties, m_loggers);
}

CLogProperties::~CLogProperties() {
    try {
        for (const log4cxx::LoggerPtr& logger : m_loggers->getCurrentLoggers())
            LetGo(*logger);
        LetGo(*m_loggers->getRootLogger());
    } catch (...) {
        // What is left is closed with the hierarchy, and writes nothing more.
    }
}

bool CLogProperties::DefinesRoot() {
    using log4cxx::helpers::OptionConverter;
    return !OptionConverter::findAndSubst("log4j.rootLogger", m_properties).empty() ||
           !OptionConverter::findAndSubst("log4j.rootCategory", m_properties).empty();
}

log4cxx::AppenderList CLogProperties::GetRootAppenders() const {
    return m_loggers->getRootLogger()->getAllAppenders();
}

void CLogProperties::ApplyToLoggers(CLogAppenders& appenders) {
    if (!log4cxx::helpers::OptionConverter::findAndSubst("log4j.threshold", m_properties).empty())
        log4cxx::LogManager::getLoggerRepository()->setThreshold(m_loggers->getThreshold());
    for (const log4cxx::LoggerPtr& read : m_loggers->getCurrentLoggers()) {
        const log4cxx::LoggerPtr logger = log4cxx::Logger::getLoggerLS(read->getName());
        // Other threads read the level at the same time, without a lock: it is not written when it is the same.
        if (logger->getLevel() != read->getLevel() && !LeavesLevel(read->getName()))
            logger->setLevel(read->getLevel());
        logger->setAdditivity(read->getAdditivity());
        const log4cxx::AppenderList wanted = read->getAllAppenders();
        for (const log4cxx::AppenderPtr& appender : wanted)
            CLogAppenders::ShowControlsIn(appender);
        appenders.Replace(logger, wanted);
    }
}

/// A line that begins with a comma names appenders alone.
bool CLogProperties::LeavesLevel(const log4cxx::LogString& loggerName) {
    for (const char* prefix : {"log4j.logger.", "log4j.category."})
        if (const auto value = log4cxx::helpers::OptionConverter::findAndSubst(prefix + loggerName, m_properties);
            !value.empty())
            return value.front() == ',';
    return true;
}
