#include "logging/TraceScope.h"

#include "logging/LogState.h"
#include "logging/Logging.h"
#include "logging/LostLines.h"
#include "logging/ProcessEnd.h"

#include <log4cxx/ndc.h>

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
        m_loggerName = L"Trace";
        if (const auto end = m_functionName.find(L"::"); end != std::wstring::npos)
            m_loggerName += L"." + m_functionName.substr(0, end);
        const int depth = log4cxx::NDC::getDepth();
        if (depth <= DeepestName) {
            log4cxx::NDC::push(depth < DeepestName ? m_functionName : std::wstring(L"..."));
            m_pushed = true;
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
    try {
        std::wstring format = std::wstring(arrow) + L"[{0:%s}]";
        if (!m_name1.empty())
            format += m_name2.empty() ? L" ({1:%s}={2:%s})" : L" ({1:%s}={2:%s}, {3:%s}={4:%s})";
        LogToNamedLogger(m_loggerName, log4cxx::Level::getDebug(), format, m_functionName.c_str(), m_name1.c_str(),
                         m_value1.c_str(), m_name2.c_str(), m_value2.c_str());
    } catch (...) {
        CountLostLine();
    }
}
