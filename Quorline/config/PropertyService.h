#pragma once

// What the installation says of a component: its directories and settings, from the machine's registry. Loaded once per
// process, for the component that asks first; read from any thread afterwards. Nothing here throws for a bad
// installation: what is missing keeps its default, and a directory that cannot be made is logged.

#include <windows.h>

#include <log4cxx/level.h>
#include <log4cxx/logger.h>

#include <string>

/// As the registry values are called.
struct CPropertySettings {
    unsigned long listenPort = 0;
    unsigned long udpListenPort = 0;
    unsigned long rejectReconnectInterval = 1;
    unsigned long reconnectInterval = 1;
    unsigned long maxSendDataOffset = 300;
    unsigned long maxSmartProfileOffsetMins = 0;
};

class CPropertyService {
public:
    CPropertyService(const CPropertyService&) = delete;
    CPropertyService& operator=(const CPropertyService&) = delete;

    /// Loads for the component on the first call; later calls return the same, whatever they name.
    static const CPropertyService& GetInstance(const std::wstring& componentName);

    /// The key below HKEY_LOCAL_MACHINE that holds a component's values.
    static std::wstring KeyPathOf(const std::wstring& componentName);

    /// The format that storages of this system have on the clipboard; registered when the library is loaded.
    static UINT GetStorageClipboardFormat() { return m_storageClipboardFormat; }

    bool IsLoaded() const { return m_loaded; }
    const std::wstring& GetComponentName() const { return m_componentName; }
    const std::wstring& GetKeyPath() const { return m_keyPath; }
    const CPropertySettings& GetSettings() const { return m_settings; }

    // The directories; empty when the installation gives no base for one. All but the installation directory exist
    // unless the log says otherwise.
    const std::wstring& GetInstallDirectory() const { return m_installDirectory; }
    const std::wstring& GetDataDirectory() const { return m_dataDirectory; }
    const std::wstring& GetLogDirectory() const { return m_logDirectory; }
    const std::wstring& GetScriptsDirectory() const { return m_scriptsDirectory; }
    const std::wstring& GetConfigDirectory() const { return m_configDirectory; }

private:
    friend struct CPropertyServicePeer; // the tests' way to a service that is not loaded yet

    CPropertyService() = default;
    void Load(const std::wstring& componentName);
    void LoadDirectories(const class CRegistryReader& key);
    void LoadSettings(const class CRegistryReader& key);
    bool RunsAsUser() const;
    static std::wstring GetUserLogDirectory();
    static void MakeDirectory(const std::wstring& path, bool rightsOfItsOwn);

    static log4cxx::LoggerPtr SDGetLogger();
    static void Log(log4cxx::LevelPtr level, std::wstring format, ...);
    static void Log(log4cxx::LevelPtr level, const wchar_t* format, ...);

    static const UINT m_storageClipboardFormat;
    static const std::wstring m_unknownName;

    bool m_loaded = false;
    std::wstring m_componentName;
    std::wstring m_installDirectory;
    std::wstring m_dataDirectory;
    std::wstring m_logDirectory;
    std::wstring m_scriptsDirectory;
    std::wstring m_configDirectory;
    CPropertySettings m_settings;
    std::wstring m_keyPath;
};
