#include "logging/Log4cxxConfig.h"

#include "logging/LineLayout.h"
#include "logging/LogFileAppender.h"
#include "logging/LogProperties.h"
#include "logging/LogState.h"
#include "logging/Logging.h"

#include <log4cxx/fileappender.h>
#include <log4cxx/nt/nteventlogappender.h>
#include <log4cxx/simplelayout.h>

#include <algorithm>
#include <mutex>

namespace {
CLogComponent ComponentOf(unsigned code) {
    switch (code) {
    case 0:
        return {L"Talvinor", L"Talvinor"};
    case 1:
        return {L"TalvinorSD", L"TalvinorSD"};
    case 3:
        return {L"TalvinorAdmin", L"TalvinorAdmin"};
    default:
        return {L"TalvinorSession", L"TalvinorSD"};
    }
}

constexpr unsigned long CheckInterval = 5000; // ms between two looks at the properties file
constexpr ULONGLONG OpeningInterval = 1000;   // ms between two attempts to open a log file that could not be opened

/// Zero for a file that is not there.
FILETIME TimeOf(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (path.empty() || !GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data))
        return {};
    return data.ftLastWriteTime;
}

void ReportFailure(const char* what) noexcept {
    try {
        LogGlobal(log4cxx::Level::getError(), L"Logging could not be configured: {0:%S}", what);
    } catch (...) {
        // No memory for the call; the steps that follow may need less.
    }
}

/// What one step cannot do does not keep the others from it: a process without a log file still has the event log.
template <class Step> void Attempt(Step step) noexcept {
    try {
        step();
    } catch (const std::exception& failure) {
        ReportFailure(failure.what());
    } catch (...) {
        ReportFailure("unknown exception");
    }
}
} // namespace

CKeptAtProcessEnd<CLog4cxxConfig> CLog4cxxConfig::m_instance{std::unique_ptr<CLog4cxxConfig>(new CLog4cxxConfig)};

CLog4cxxConfig& CLog4cxxConfig::GetInstance() {
    return *m_instance;
}

CLog4cxxConfig::CLog4cxxConfig() noexcept {
    Attempt([this] {
        const auto events =
            MakeLog4cxxObject<log4cxx::nt::NTEventLogAppender>("org.apache.log4j.nt.NTEventLogAppender");
        events->setName(LOG4CXX_STR("EventAppender"));
        events->setLayout(MakeLog4cxxObject<log4cxx::SimpleLayout>("org.apache.log4j.SimpleLayout"));
        events->setOption("server", "");
        events->setOption("log", "Application");
        events->setOption("source", "Talvinor");
        OpenLogFile(*events);
        m_eventAppender = events;
        if (const log4cxx::LoggerPtr fallback = GetFallbackLogger())
            m_appenders.Put(fallback, m_eventAppender);
    });
}

CLog4cxxConfig::~CLog4cxxConfig() {
    // log4cxx may stay when the library goes, and must not keep what the library's code destroys.
    SetLogSettingsCheck(nullptr, 0);
    SetLogFileRestore(nullptr);
    SetLoggingConfigured(false);
    m_appenders.RemoveAll();
    SetLogFileOpen(true);
}

bool CLog4cxxConfig::IsConfigured() const noexcept {
    return IsLoggingConfigured();
}

void CLog4cxxConfig::Configure(unsigned componentCode, bool, LogSettingsReader read) noexcept {
    long expected = 0;
    if (!m_initialised.compare_exchange_strong(expected, 1))
        return;
    Attempt([&] {
        m_component = ComponentOf(componentCode);
        if (m_eventAppender) {
            m_eventAppender->setOption("source", ToLogString(m_component.name));
            OpenLogFile(*m_eventAppender);
        }
    });
    Attempt([&] { read(m_component, m_settings); });
    {
        const std::lock_guard lock(m_lock);
        Apply();
    }
    SetLogFileRestore(&RestoreLogFile);
    SetLoggingConfigured(true);
    Attempt([] {
        LogGlobal(log4cxx::Level::getInfo(),
                  L"============>  First Logging Message [PID={0:%u}, Module={1:%s}] <============",
                  GetCurrentProcessId(), GetModulePath().c_str());
    });
    SetLogSettingsCheck(&CheckPropertiesFile, CheckInterval);
}

void CLog4cxxConfig::UpdateConfig() noexcept {
    {
        const std::lock_guard lock(m_lock);
        Apply();
    }
    Attempt([] { LogGlobal(log4cxx::Level::getInfo(), L"Log config changed."); });
}

void CLog4cxxConfig::Apply() noexcept {
    bool rootDefined = false;
    log4cxx::AppenderList rootAppenders;
    m_propertiesTime = TimeOf(m_settings.propertiesFile);
    if (m_propertiesTime.dwHighDateTime != 0)
        Attempt([&] {
            CLogProperties properties(m_settings.propertiesFile);
            properties.ApplyToLoggers(m_appenders);
            rootAppenders = properties.GetRootAppenders();
            rootDefined = properties.DefinesRoot();
        });
    Attempt([&] { ApplyToRoot(rootDefined, rootAppenders); });
    Attempt([this] { SetRootLevel(); });
}

/// The properties file may define the log file's appender, with a layout of its own. Otherwise it is made here, and
/// stays when the file has a line on the root logger, which drops every other appender.
void CLog4cxxConfig::ApplyToRoot(bool defined, log4cxx::AppenderList appenders) {
    const log4cxx::LoggerPtr root = log4cxx::Logger::getRootLogger();
    if (!defined)
        appenders = root->getAllAppenders();
    const auto found = std::ranges::find_if(
        appenders, [](const auto& appender) { return appender->getName() == GetLogFileAppenderName(); });
    if (found == appenders.end() && m_settings.file.path.empty()) {
        // No log file; what else the properties file defines is taken.
    } else if (found == appenders.end()) {
        if (!m_ownFileAppender)
            UseAsLogFile(m_ownFileAppender = MakeLogFileAppender(), true);
        appenders.push_back(m_ownFileAppender);
    } else if (*found != m_fileAppender) {
        m_ownFileAppender = nullptr;
        UseAsLogFile(*found, defined);
    }
    if (!defined) {
        if (m_ownFileAppender)
            m_appenders.Put(root, m_ownFileAppender);
        return;
    }
    for (const log4cxx::AppenderPtr& appender : appenders)
        CLogAppenders::ShowControlsIn(appender);
    m_appenders.Replace(root, appenders);
}

/// Before it is put in, so that it never writes to another file. One that the host has put in itself stays the host's.
void CLog4cxxConfig::UseAsLogFile(const log4cxx::AppenderPtr& appender, bool isNew) {
    if (m_fileLayout)
        m_fileLayout->Unfollow();
    m_fileAppender = appender;
    m_fileLayout = isNew ? CLogAppenders::ShowControlsIn(appender, m_settings.file.path) : nullptr;
    const bool followed = m_fileLayout && std::dynamic_pointer_cast<log4cxx::FileAppender>(appender);
    SetLogFileOpen(!followed || m_settings.file.path.empty());
    if (m_settings.file.path.empty())
        return;
    SetLogFileOptions(*appender, m_settings.file);
    OpenLogFile(*appender);
}

void CLog4cxxConfig::SetRootLevel() const {
    const log4cxx::LoggerPtr root = log4cxx::Logger::getRootLogger();
    const log4cxx::LevelPtr level = LevelFromNumber(m_settings.level);
    // Other threads read it without a lock.
    if (root->getLevel() != level)
        root->setLevel(level);
}

/// False when a line that has just been logged is lost, since the log file could not be opened again after it was
/// rolled over, or never could be. Opens it if that works now.
bool CLog4cxxConfig::Restore() {
    const auto file = std::dynamic_pointer_cast<log4cxx::FileAppender>(m_fileAppender);
    if (!file)
        return true;
    // Waits for a thread that is rolling the file over; and opened again, the file is not to be emptied.
    file->setAppend(true);
    if (IsLogFileOpen())
        return true;
    if (const ULONGLONG now = GetTickCount64(); now >= m_nextOpening) {
        m_nextOpening = now + OpeningInterval;
        OpenLogFile(*file);
    }
    return false;
}

bool CLog4cxxConfig::RestoreLogFile() noexcept {
    // Held by a thread that changes the appenders: nothing can be said of the line.
    const std::unique_lock lock(m_instance->m_lock, std::try_to_lock);
    if (!lock)
        return true;
    try {
        return m_instance->Restore();
    } catch (...) {
        return false; // tried again with a later line
    }
}

void CLog4cxxConfig::CheckPropertiesFile() noexcept {
    std::unique_lock lock(m_instance->m_lock, std::try_to_lock);
    if (!lock)
        return;
    const FILETIME now = TimeOf(m_instance->m_settings.propertiesFile);
    // A file that went leaves the settings in force.
    const bool changed = now.dwHighDateTime != 0 && CompareFileTime(&now, &m_instance->m_propertiesTime) != 0;
    lock.unlock();
    if (changed)
        m_instance->UpdateConfig();
}

std::wstring CLog4cxxConfig::GetModulePath() {
    HMODULE module = nullptr;
    wchar_t path[MAX_PATH] = L"";
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            reinterpret_cast<const wchar_t*>(&CLog4cxxConfig::GetModulePath), &module) ||
        GetModuleFileNameW(module, path, MAX_PATH) == 0)
        return L"unknown";
    return path;
}
