#include "SessionLog.h"

#include <log4cxx/logger.h>

void LogWindowWarning(const std::wstring& text) noexcept {
    try {
        const log4cxx::LoggerPtr logger = log4cxx::Logger::getLogger("Session.Windows");
        if (logger->isEnabledFor(log4cxx::Level::getWarn()))
            logger->forcedLog(log4cxx::Level::getWarn(), text, log4cxx::spi::LocationInfo::getLocationUnavailable());
    } catch (...) {
        return;
    }
}
