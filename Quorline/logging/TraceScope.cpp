#include "logging/TraceScope.h"

#include "logging/LogState.h"
#include "logging/Logging.h"

#include <log4cxx/ndc.h>

#include <utility>

namespace {
// The context holds five names and then, once, a mark that there is more.
constexpr int DeepestName = 5;
} // namespace

CTraceScope::CTraceScope(std::wstring functionName, std::wstring name1, std::wstring value1, std::wstring name2,
                         std::wstring value2)
    : m_functionName(std::move(functionName)), m_name1(std::move(name1)), m_value1(std::move(value1)),
      m_name2(std::move(name2)), m_value2(std::move(value2)), m_loggerName(L"Trace") {
    if (!IsLoggingConfigured())
        return;
    const DWORD lastError = GetLastError();
    m_active = true;
    const int depth = log4cxx::NDC::getDepth();
    m_pushed = depth <= DeepestName;
    if (m_pushed)
        log4cxx::NDC::push(depth < DeepestName ? m_functionName : std::wstring(L"..."));
    if (const auto end = m_functionName.find(L"::"); end != std::wstring::npos)
        m_loggerName += L"." + m_functionName.substr(0, end);
    LogStep(L"Entering -> ");
    SetLastError(lastError);
}

CTraceScope::~CTraceScope() {
    if (!m_active)
        return;
    const DWORD lastError = GetLastError();
    LogStep(L"Leaving  -> ");
    if (m_pushed) {
        std::wstring name;
        log4cxx::NDC::pop(name);
    }
    SetLastError(lastError);
}

void CTraceScope::LogStep(const wchar_t* arrow) const {
    std::wstring format = std::wstring(arrow) + L"[{0:%s}]";
    if (!m_name1.empty())
        format += m_name2.empty() ? L" ({1:%s}={2:%s})" : L" ({1:%s}={2:%s}, {3:%s}={4:%s})";
    LogToNamedLogger(m_loggerName, log4cxx::Level::getDebug(), format, m_functionName.c_str(), m_name1.c_str(),
                     m_value1.c_str(), m_name2.c_str(), m_value2.c_str());
}
