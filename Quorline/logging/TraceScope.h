#pragma once

// Traces a function's entry and exit at DEBUG and keeps the thread's nested diagnostic context:
//
//     CTraceScope trace(L"CScriptRunner::RunScript", L"name", script->GetScriptName());
//
// A scope opened while logging is unconfigured stays silent for its life. Create and destroy it on one thread. The
// thread's last error is left as it was. Nothing is thrown: what cannot be logged is lost, and the context stays
// balanced.

#include <log4cxx/logger.h>

#include <string>

class CTraceScope {
public:
    /// For a literal, of which no copy may be had either.
    explicit CTraceScope(const wchar_t* functionName) noexcept;
    explicit CTraceScope(std::wstring functionName, std::wstring name1 = {}, std::wstring value1 = {},
                         std::wstring name2 = {}, std::wstring value2 = {}) noexcept;
    ~CTraceScope();

    CTraceScope(const CTraceScope&) = delete;
    CTraceScope& operator=(const CTraceScope&) = delete;

private:
    void Enter() noexcept;
    void LogStep(const wchar_t* arrow) const noexcept;

    std::wstring m_functionName;
    std::wstring m_name1;
    std::wstring m_value1;
    std::wstring m_name2;
    std::wstring m_value2;
    log4cxx::LoggerPtr m_logger; ///< null for one that could not be had
    bool m_pushed = false;
    bool m_active = false;
};
