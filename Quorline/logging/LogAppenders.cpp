#include "logging/LogAppenders.h"

#include "logging/LineLayout.h"

#include <log4cxx/helpers/transcoder.h>
#include <log4cxx/writerappender.h>

#include <algorithm>

log4cxx::LogString ToLogString(const std::wstring& text) {
    log4cxx::LogString result;
    log4cxx::helpers::Transcoder::decode(text, result);
    return result;
}

std::shared_ptr<CLineLayout> CLogAppenders::ShowControlsIn(const log4cxx::AppenderPtr& appender,
                                                           const std::wstring& logFile) {
    if (!std::dynamic_pointer_cast<log4cxx::WriterAppender>(appender) || !appender->getLayout())
        return nullptr;
    auto layout = std::dynamic_pointer_cast<CLineLayout>(appender->getLayout());
    if (!layout) {
        layout = std::make_shared<CLineLayout>(appender->getLayout(), logFile);
        appender->setLayout(layout);
    }
    return layout;
}

void CLogAppenders::Put(const log4cxx::LoggerPtr& logger, const log4cxx::AppenderPtr& appender) {
    std::erase_if(m_entries, [](const CEntry& entry) { return entry.appender.expired(); });
    m_entries.push_back({logger, appender});
    const log4cxx::AppenderPtr before = logger->getAppender(appender->getName());
    if (!before)
        logger->addAppender(appender);
    else if (before != appender)
        logger->replaceAppender(before, appender);
}

void CLogAppenders::Replace(const log4cxx::LoggerPtr& logger, const log4cxx::AppenderList& appenders) {
    for (const log4cxx::AppenderPtr& appender : appenders)
        Put(logger, appender);
    for (const log4cxx::AppenderPtr& appender : logger->getAllAppenders())
        if (std::ranges::find(appenders, appender) == appenders.end())
            logger->removeAppender(appender);
}

void CLogAppenders::RemoveAll() noexcept {
    for (const CEntry& entry : m_entries) {
        try {
            const log4cxx::AppenderPtr appender = entry.appender.lock();
            if (!appender)
                continue;
            entry.logger->removeAppender(appender);
            // Waits for the thread that is writing; a later one finds it closed, and does not ask its layout.
            appender->close();
            if (const auto layout = std::dynamic_pointer_cast<CLineLayout>(appender->getLayout()))
                appender->setLayout(layout->GetInner());
        } catch (...) {
            // The others are taken out all the same.
        }
    }
    m_entries.clear();
}
