#pragma once

// Sets log4cxx up for a component of the client: the event log, which is there from the start, the component's
// properties file, and a log file of limited size. Configured once per process, when the library is loaded; undone when
// it goes.

#include <log4cxx/appender.h>
#include <log4cxx/logger.h>

#include <windows.h>

#include <atomic>
#include <string>

/// The component code that the library runs as.
constexpr unsigned SessionComponent = 2;

class CLog4cxxConfig {
public:
    CLog4cxxConfig(const CLog4cxxConfig&) = delete;
    CLog4cxxConfig& operator=(const CLog4cxxConfig&) = delete;

    static CLog4cxxConfig& GetInstance();

    /// The first call configures; the others do nothing. Component codes: 0 "Talvinor", 1 "TalvinorSD", 3
    /// "TalvinorAdmin", any other "TalvinorSession". Nothing that is missing is an error. The flag has no meaning.
    void Configure(unsigned componentCode, bool flag);

    /// From the end of Configure on.
    bool IsConfigured() const;

    /// Reads the properties file again; the log file and the level of the registry's settings stay.
    void UpdateConfig();

private:
    friend struct CLog4cxxConfigPeer; // the tests' way to a process that is not configured yet

    CLog4cxxConfig();
    ~CLog4cxxConfig();

    void ReadSettings();
    void Apply();
    void ReadPropertiesFile();
    void ConfigureLogFile();
    void DropLogFile();
    void SetRootLevel() const;
    static void CheckPropertiesFile() noexcept;
    static std::wstring GetModulePath();

    static CLog4cxxConfig m_instance;

    std::atomic<long> m_initialised{0};
    std::wstring m_componentName;
    std::wstring m_keyPath;
    std::wstring m_valuePrefix;
    unsigned long m_logLevel = 2;
    unsigned long m_logSize = 1048576;
    unsigned long m_maxLogs = 5;

    std::wstring m_propertiesFile;
    std::wstring m_logFile;
    FILETIME m_propertiesTime{};
    log4cxx::AppenderPtr m_eventAppender;
    log4cxx::AppenderPtr m_fileAppender; // null while the properties file defines one itself
};
