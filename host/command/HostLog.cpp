#include "HostLog.h"

#include "Console.h"

#include <log4cxx/fileappender.h>
#include <log4cxx/logger.h>

void LogHostError(const std::wstring& text) noexcept {
    try {
        const log4cxx::LoggerPtr logger = log4cxx::Logger::getLogger("Quorline.Host");
        if (logger->isErrorEnabled())
            logger->forcedLog(log4cxx::Level::getError(), text, log4cxx::spi::LocationInfo::getLocationUnavailable());
    } catch (...) {
        return;
    }
}

std::wstring LogFilePath() {
    for (const auto& appender : log4cxx::Logger::getRootLogger()->getAllAppenders())
        if (const auto file = std::dynamic_pointer_cast<log4cxx::FileAppender>(appender))
            return FromUtf8(file->getFile());
    return {};
}

std::wstring PointToLog() {
    const std::wstring path = LogFilePath();
    return path.empty() ? std::wstring() : L"; the log says more: " + path;
}
