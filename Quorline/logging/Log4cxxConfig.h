#pragma once

// Sets log4cxx up for a component of the client: the event log, which is there from the start, the component's
// properties file, and a log file of limited size. Configured once per process, when the library is loaded; undone when
// it goes, but for the end of the process. Nothing here throws: what cannot be set up is left out.

#include "base/SharedLock.h"
#include "logging/LogAppenders.h"
#include "logging/LogSettings.h"
#include "logging/ProcessEnd.h"

#include <windows.h>

#include <atomic>
#include <memory>
#include <string>

/// The component code that the library runs as.
constexpr unsigned SessionComponent = 2;

class CLog4cxxConfig {
public:
    ~CLog4cxxConfig();
    CLog4cxxConfig(const CLog4cxxConfig&) = delete;
    CLog4cxxConfig& operator=(const CLog4cxxConfig&) = delete;

    static CLog4cxxConfig& GetInstance();

    /// The first call configures; the others do nothing. Component codes: 0 "Talvinor", 1 "TalvinorSD", 3
    /// "TalvinorAdmin", any other "TalvinorSession". Nothing that is missing is an error. The flag has no meaning.
    /// `read` is called once, when the event log is there to tell what it cannot do.
    void Configure(unsigned componentCode, bool flag, LogSettingsReader read) noexcept;

    /// From the end of Configure on.
    bool IsConfigured() const noexcept;

    /// Reads the properties file again; the log file and the level of the registry's settings stay. Any thread, and no
    /// line that another thread logs meanwhile is lost.
    void UpdateConfig() noexcept;

private:
    friend struct CLog4cxxConfigPeer; // the tests' way to a process that is not configured yet

    CLog4cxxConfig() noexcept;

    void Apply() noexcept;
    void ApplyToRoot(bool defined, log4cxx::AppenderList appenders);
    void UseAsLogFile(const log4cxx::AppenderPtr& appender, bool isNew);
    void SetRootLevel() const;
    bool Restore();
    static void CheckPropertiesFile() noexcept;
    static bool RestoreLogFile() noexcept;
    static std::wstring GetModulePath();

    static CKeptAtProcessEnd<CLog4cxxConfig> m_instance;

    std::atomic<long> m_initialised{0};
    CLogComponent m_component;
    CLogSettings m_settings;

    CSharedLock m_lock; // for everything below
    FILETIME m_propertiesTime{};
    ULONGLONG m_nextOpening = 0; // tick count from which on opening the log file is tried again
    log4cxx::AppenderPtr m_eventAppender;
    log4cxx::AppenderPtr m_fileAppender;    // the log file's, whoever defined it
    log4cxx::AppenderPtr m_ownFileAppender; // the same, or null while somebody else defines it
    std::shared_ptr<CLineLayout> m_fileLayout;
    CLogAppenders m_appenders;
};
