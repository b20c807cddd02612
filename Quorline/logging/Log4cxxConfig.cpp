#include "logging/Log4cxxConfig.h"

#include "Common/PathHelper.h"
#include "config/PropertyService.h"
#include "config/RegistryReader.h"
#include "logging/LogState.h"
#include "logging/Logging.h"

#include <log4cxx/file.h>
#include <log4cxx/helpers/pool.h>
#include <log4cxx/helpers/transcoder.h>
#include <log4cxx/nt/nteventlogappender.h>
#include <log4cxx/patternlayout.h>
#include <log4cxx/propertyconfigurator.h>
#include <log4cxx/rolling/fixedwindowrollingpolicy.h>
#include <log4cxx/rolling/rollingfileappender.h>
#include <log4cxx/simplelayout.h>

#include <algorithm>

namespace {
struct CComponent {
    const wchar_t* name;
    const wchar_t* valuePrefix;
};

CComponent ComponentOf(unsigned code) {
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
const log4cxx::LogString LogFileName = LOG4CXX_STR("TalvinorLogFile");

log4cxx::LogString ToLogString(const std::wstring& text) {
    log4cxx::LogString result;
    log4cxx::helpers::Transcoder::decode(text, result);
    return result;
}

void SetOption(log4cxx::Appender& appender, const char* name, const std::wstring& value) {
    appender.setOption(name, ToLogString(value));
}

void Activate(log4cxx::Appender& appender) {
    log4cxx::helpers::Pool pool;
    appender.activateOptions(pool);
}

log4cxx::rolling::RollingPolicyPtr MakeRollingPolicy(const std::wstring& file, unsigned long maxLogs) {
    const auto policy = std::make_shared<log4cxx::rolling::FixedWindowRollingPolicy>();
    policy->setOption("filenamepattern", ToLogString(file + L".%i"));
    policy->setMinIndex(1);
    policy->setMaxIndex(static_cast<int>(std::clamp(maxLogs, 2UL, 13UL)) - 1); // its own limits
    return policy;
}

/// Zero for a file that is not there.
FILETIME TimeOf(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (path.empty() || !GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data))
        return {};
    return data.ftLastWriteTime;
}
} // namespace

CLog4cxxConfig CLog4cxxConfig::m_instance;

CLog4cxxConfig& CLog4cxxConfig::GetInstance() {
    return m_instance;
}

CLog4cxxConfig::CLog4cxxConfig()
    : m_eventAppender(std::make_shared<log4cxx::nt::NTEventLogAppender>(
          log4cxx::LogString(), ToLogString(L"Application"), ToLogString(L"Talvinor"),
          std::make_shared<log4cxx::SimpleLayout>())) {
    m_eventAppender->setName(LOG4CXX_STR("EventAppender"));
    GetFallbackLogger()->addAppender(m_eventAppender);
}

CLog4cxxConfig::~CLog4cxxConfig() {
    // log4cxx may stay when the library goes, and must not keep what the library's code destroys.
    SetLogSettingsCheck(nullptr, 0);
    SetLoggingConfigured(false);
    DropLogFile();
    GetFallbackLogger()->removeAppender(m_eventAppender);
    m_eventAppender->close();
}

bool CLog4cxxConfig::IsConfigured() const {
    return IsLoggingConfigured();
}

void CLog4cxxConfig::Configure(unsigned componentCode, bool) {
    long expected = 0;
    if (!m_initialised.compare_exchange_strong(expected, 1))
        return;
    const CComponent component = ComponentOf(componentCode);
    m_componentName = component.name;
    m_valuePrefix = component.valuePrefix;
    SetOption(*m_eventAppender, "source", m_componentName);
    Activate(*m_eventAppender);

    ReadSettings();
    Apply();
    SetLoggingConfigured(true);
    LogGlobal(log4cxx::Level::getInfo(),
              L"============>  First Logging Message [PID={0:%u}, Module={1:%s}] <============", GetCurrentProcessId(),
              GetModulePath().c_str());
    SetLogSettingsCheck(&CheckPropertiesFile, CheckInterval);
}

void CLog4cxxConfig::UpdateConfig() {
    Apply();
    LogGlobal(log4cxx::Level::getInfo(), L"Log config changed.");
}

/// What one step cannot do does not keep the others from it: a process without a log file still has the event log.
void CLog4cxxConfig::Apply() {
    const auto attempt = [](auto step) {
        try {
            step();
        } catch (const std::exception& failure) {
            LogGlobal(log4cxx::Level::getError(), L"Logging could not be configured: {0:%S}", failure.what());
        }
    };
    attempt([this] { DropLogFile(); });
    attempt([this] { ReadPropertiesFile(); });
    attempt([this] { ConfigureLogFile(); });
    SetRootLevel();
}

void CLog4cxxConfig::ReadSettings() {
    const CPropertyService& properties = CPropertyService::GetInstance(m_componentName);
    m_keyPath = properties.GetKeyPath();
    const CRegistryReader key(m_keyPath);
    key.ReadDword(m_valuePrefix + L"LogLevel", m_logLevel);
    key.ReadDword(m_valuePrefix + L"LogSize", m_logSize);
    key.ReadDword(m_valuePrefix + L"MaxLogs", m_maxLogs);
    if (!properties.GetConfigDirectory().empty())
        m_propertiesFile = JoinPath(properties.GetConfigDirectory(), m_componentName + L"Log.properties");
    if (!properties.GetLogDirectory().empty())
        m_logFile = JoinPath(properties.GetLogDirectory(), m_componentName + L".log");
}

void CLog4cxxConfig::ReadPropertiesFile() {
    m_propertiesTime = TimeOf(m_propertiesFile);
    // log4cxx would complain on the host's standard error.
    if (m_propertiesTime.dwHighDateTime != 0)
        log4cxx::PropertyConfigurator::configure(log4cxx::File(m_propertiesFile));
}

/// The properties file may define the appender, with a layout of its own. Otherwise it is made here, after the file was
/// read, whose line on the root logger drops every appender before it.
void CLog4cxxConfig::ConfigureLogFile() {
    if (m_logFile.empty())
        return;
    const log4cxx::LoggerPtr root = log4cxx::Logger::getRootLogger();
    log4cxx::AppenderPtr appender = root->getAppender(LogFileName);
    if (!appender) {
        appender = std::make_shared<log4cxx::rolling::RollingFileAppender>();
        appender->setName(LogFileName);
        appender->setLayout(std::make_shared<log4cxx::PatternLayout>(LOG4CXX_STR("%d [%t] %-5p %c [%x] - %m%n")));
        SetOption(*appender, "encoding", L"UTF-8");
        m_fileAppender = appender;
    }
    // The name comes first, or the files are not rolled over.
    SetOption(*appender, "filename", m_logFile);
    SetOption(*appender, "maxfilesize", std::to_wstring(m_logSize));
    // MaxLogs counts the current file too.
    SetOption(*appender, "maxbackupindex", std::to_wstring(m_maxLogs > 1 ? m_maxLogs - 1 : 0));
    // One that the properties file has already activated, without a name, rolls over to nowhere.
    if (const auto rolling = std::dynamic_pointer_cast<log4cxx::rolling::RollingFileAppender>(appender);
        rolling && !m_fileAppender)
        rolling->setRollingPolicy(MakeRollingPolicy(m_logFile, m_maxLogs));
    Activate(*appender);
    if (m_fileAppender)
        root->addAppender(m_fileAppender);
}

void CLog4cxxConfig::DropLogFile() {
    if (!m_fileAppender)
        return;
    log4cxx::Logger::getRootLogger()->removeAppender(m_fileAppender);
    m_fileAppender->close();
    m_fileAppender.reset();
}

void CLog4cxxConfig::SetRootLevel() const {
    log4cxx::Logger::getRootLogger()->setLevel(LevelFromNumber(m_logLevel));
}

void CLog4cxxConfig::CheckPropertiesFile() noexcept {
    try {
        const FILETIME now = TimeOf(m_instance.m_propertiesFile);
        if (now.dwHighDateTime != 0 && CompareFileTime(&now, &m_instance.m_propertiesTime) != 0)
            m_instance.UpdateConfig();
    } catch (const std::exception&) {
        // The settings that were in force stay; the next change is looked at again.
    }
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
