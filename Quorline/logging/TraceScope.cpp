#include "logging/TraceScope.h"

#include "base/SharedLock.h"
#include "logging/LogState.h"
#include "logging/Logging.h"
#include "logging/LostLines.h"
#include "logging/ProcessEnd.h"

#include <log4cxx/ndc.h>

#include <map>
#include <mutex>
#include <shared_mutex>
#include <string_view>
#include <utility>

namespace {
// The context holds five names and then, once, a mark that there is more.
constexpr int DeepestName = 5;

void Pop() noexcept {
    try {
        log4cxx::NDC::pop();
    } catch (...) {
        // No memory for a copy of the name, which nobody wants: the context of this thread keeps it.
    }
}

/// The loggers of the classes that were traced, which are few; looking for one costs more than a scope that nobody
/// sees.
class CTraceLoggers {
public:
    /// The empty name is for functions of no class. Throws what log4cxx throws.
    log4cxx::LoggerPtr Find(std::wstring_view className) {
        {
            const std::shared_lock shared(m_lock);
            if (const auto found = m_loggers.find(className); found != m_loggers.end())
                return found->second;
        }
        const std::wstring name(className);
        const auto logger = log4cxx::Logger::getLogger(name.empty() ? L"Trace" : L"Trace." + name);
        const std::lock_guard lock(m_lock);
        return m_loggers.emplace(name, logger).first->second;
    }

private:
    CSharedLock m_lock;
    std::map<std::wstring, log4cxx::LoggerPtr, std::less<>> m_loggers;
};

CTraceLoggers& TraceLoggers() {
    static CTraceLoggers loggers;
    return loggers;
}

void LogTo(const log4cxx::LoggerPtr& logger, const wchar_t* format, ...) noexcept {
    va_list args;
    va_start(args, format);
    LogToLoggerV(logger, log4cxx::Level::getDebug(), format, args);
    va_end(args);
}

std::wstring CopyOf(const wchar_t* text) noexcept {
    try {
        return text;
    } catch (...) {
        return {}; // a function that cannot be named is traced without its name
    }
}
} // namespace

CTraceScope::CTraceScope(const wchar_t* functionName) noexcept : m_functionName(CopyOf(functionName)) {
    Enter();
}

CTraceScope::CTraceScope(std::wstring functionName, std::wstring name1, std::wstring value1, std::wstring name2,
                         std::wstring value2) noexcept
    : m_functionName(std::move(functionName)), m_name1(std::move(name1)), m_value1(std::move(value1)),
      m_name2(std::move(name2)), m_value2(std::move(value2)) {
    Enter();
}

void CTraceScope::Enter() noexcept {
    if (!IsLoggingConfigured() || IsProcessEnding())
        return;
    const DWORD lastError = GetLastError();
    m_active = true;
    try {
        const auto end = m_functionName.find(L"::");
        m_logger =
            TraceLoggers().Find(std::wstring_view(m_functionName).substr(0, end == std::wstring::npos ? 0 : end));
        // The other way round would be dearer: log4cxx makes a context anew for whoever asks while there is none.
        log4cxx::NDC::push(m_functionName);
        m_pushed = true;
        if (const int depth = log4cxx::NDC::getDepth(); depth > DeepestName) {
            Pop();
            m_pushed = false;
            if (depth == DeepestName + 1) {
                log4cxx::NDC::push(std::wstring(L"..."));
                m_pushed = true;
            }
        }
    } catch (...) {
        // A function does not fail because it is traced; one that was not pushed is not popped.
    }
    LogStep(L"Entering -> ");
    SetLastError(lastError);
}

CTraceScope::~CTraceScope() {
    if (!m_active || IsProcessEnding())
        return;
    const DWORD lastError = GetLastError();
    LogStep(L"Leaving  -> ");
    if (m_pushed)
        Pop();
    SetLastError(lastError);
}

void CTraceScope::LogStep(const wchar_t* arrow) const noexcept {
    if (!WouldLog(m_logger, log4cxx::Level::getDebug()))
        return;
    try {
        std::wstring format = std::wstring(arrow) + L"[{0:%s}]";
        if (!m_name1.empty())
            format += m_name2.empty() ? L" ({1:%s}={2:%s})" : L" ({1:%s}={2:%s}, {3:%s}={4:%s})";
        LogTo(m_logger, format.c_str(), m_functionName.c_str(), m_name1.c_str(), m_value1.c_str(), m_name2.c_str(),
              m_value2.c_str());
    } catch (...) {
        CountLostLine();
    }
}
