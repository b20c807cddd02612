#include "HostLog.h"

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
