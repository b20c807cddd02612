#include "logging/LineLayout.h"

#include "base/UniqueHandle.h"
#include "base/LineText.h"
#include "logging/LogState.h"
#include "logging/LostLines.h"

#include <log4cxx/helpers/transcoder.h>
#include <log4cxx/spi/loggingevent.h>

#include <utility>

namespace {
/// Every character that IsLineControl knows begins with one of these bytes; plain text has none of them.
bool MayHaveControls(const log4cxx::LogString& text) noexcept {
    return std::any_of(text.begin(), text.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x20 || byte >= 0x7F;
    });
}
} // namespace

CLineLayout::CLineLayout(log4cxx::LayoutPtr inner, std::wstring logFile)
    : m_inner(std::move(inner)), m_logFile(std::move(logFile)), m_followed(!m_logFile.empty()) {}

void CLineLayout::format(log4cxx::LogString& output, const log4cxx::spi::LoggingEventPtr& event,
                         log4cxx::helpers::Pool& pool) const {
    // What was cut off when the disk was full has no end of line.
    if (m_followed && TakeTornLine() && !EndsInLine())
        output += LOG4CXX_EOL;
    const log4cxx::LogString& message = event->getRenderedMessage();
    std::wstring wide;
    if (MayHaveControls(message))
        log4cxx::helpers::Transcoder::encode(message, wide);
    if (!HasLineControls(wide))
        return m_inner->format(output, event, pool);
    log4cxx::LogString shown;
    log4cxx::helpers::Transcoder::decode(ShowControls(wide), shown);
    const auto copy = std::make_shared<log4cxx::spi::LoggingEvent>(event->getLoggerName(), event->getLevel(), shown,
                                                                   event->getLocationInformation());
    m_inner->format(output, copy, pool);
}

void CLineLayout::appendHeader(log4cxx::LogString& output, log4cxx::helpers::Pool& pool) {
    if (m_followed)
        SetLogFileOpen(true);
    m_inner->appendHeader(output, pool);
}

void CLineLayout::appendFooter(log4cxx::LogString& output, log4cxx::helpers::Pool& pool) {
    if (m_followed)
        SetLogFileOpen(false);
    m_inner->appendFooter(output, pool);
}

/// True for a file that is empty or cannot be read, too.
bool CLineLayout::EndsInLine() const noexcept {
    const CUniqueHandle file(CreateFileW(m_logFile.c_str(), GENERIC_READ,
                                         FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                         FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER last{};
    last.QuadPart = -1;
    char end = '\n';
    DWORD read = 0;
    return !file || !SetFilePointerEx(file.Get(), last, nullptr, FILE_END) ||
           !ReadFile(file.Get(), &end, 1, &read, nullptr) || read == 0 || end == '\n';
}
