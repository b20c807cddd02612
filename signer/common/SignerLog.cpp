#include "common/SignerLog.h"

#include <log4cxx/logger.h>

namespace {

void Write(const char* name, const log4cxx::LevelPtr& level, const std::wstring& text) noexcept {
    try {
        const log4cxx::LoggerPtr logger = log4cxx::Logger::getLogger(name);
        if (logger->isEnabledFor(level))
            logger->forcedLog(level, text, log4cxx::spi::LocationInfo::getLocationUnavailable());
    } catch (...) {
        // What cannot be logged must not change the answer.
        return;
    }
}

} // namespace

void LogVerification(const log4cxx::LevelPtr& level, const std::wstring& text) noexcept {
    Write("ScriptSigner.Verify", level, text);
}

void LogRegistration(const log4cxx::LevelPtr& level, const std::wstring& text) noexcept {
    Write("ScriptSigner.Registration", level, text);
}
