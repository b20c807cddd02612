#include "config/PropertyService.h"

#include "base/EffectiveToken.h"
#include "base/MachineDirectory.h"
#include "base/PathHelper.h"
#include "config/RegistryReader.h"
#include "logging/ClassLog.h"

#include <direct.h>
#include <shlobj.h>

#include <cerrno>
#include <cstring>

namespace {
constexpr const wchar_t* Separators = L"\\/";

/// The names "." and "C:" and what stands in front of a share cannot and need not be made.
std::size_t FirstDirectoryEnd(const std::wstring& path) {
    std::size_t position = 0;
    if (path.size() > 1 && path.find_first_not_of(Separators) >= 2)
        for (int names = 0; names < 2 && position != std::wstring::npos; ++names)
            position = path.find_first_of(Separators, names == 0 ? 2 : position + 1);
    else if (path.size() > 1 && path[1] == L':')
        position = 2;
    if (position == std::wstring::npos)
        return position;
    return path.find_first_of(Separators, position + 1);
}
} // namespace

// kept: registered for other programs of the client; nothing in the library reads the identifier.
const UINT CPropertyService::m_storageClipboardFormat = RegisterClipboardFormatW(L"Talvinor Storage Format");
// kept: made with the identifier, and read by nothing.
const std::wstring CPropertyService::m_unknownName = L"UNKNOWN";

QUORLINE_CLASS_LOG(CPropertyService, L"LogHelp.CPropertyService")

const CPropertyService& CPropertyService::GetInstance(const std::wstring& componentName) {
    static CPropertyService instance;
    static const bool loaded = (instance.Load(componentName), true);
    static_cast<void>(loaded);
    return instance;
}

std::wstring CPropertyService::KeyPathOf(const std::wstring& componentName) {
    const std::wstring base = L"Software\\Morvane\\";
    if (componentName == L"TalvinorSession")
        return base + L"TalvinorSD";
    if (componentName == L"TalvinorAdmin")
        return base + L"Talvinor";
    return base + componentName;
}

void CPropertyService::Load(const std::wstring& componentName) {
    m_componentName = componentName;
    m_keyPath = KeyPathOf(componentName);
    const CRegistryReader key(m_keyPath);
    LoadDirectories(key);
    LoadSettings(key);
    m_loaded = true;
}

bool CPropertyService::RunsAsUser() const {
    return m_componentName == L"TalvinorSession" || m_componentName == L"TalvinorAdmin";
}

/// Nothing is worked out from an empty directory: it would end up at a drive's root or in the host's current folder.
void CPropertyService::LoadDirectories(const CRegistryReader& key) {
    key.ReadString(L"InstallDir", m_installDirectory);
    if (!key.ReadString(L"DataDir", m_dataDirectory) && !m_installDirectory.empty())
        m_dataDirectory = JoinPath(m_installDirectory, L"Data\\");
    if (!m_dataDirectory.empty())
        m_configDirectory = JoinPath(m_dataDirectory, L"Config");
    if (!m_configDirectory.empty())
        m_scriptsDirectory = JoinPath(m_configDirectory, L"Scripts");
    if (RunsAsUser())
        m_logDirectory = GetUserLogDirectory();
    else if (!key.ReadString(L"LogDir", m_logDirectory) && !m_installDirectory.empty())
        m_logDirectory = JoinPath(m_installDirectory, L"Logs\\");
    for (const auto* directory : {&m_dataDirectory, &m_configDirectory, &m_scriptsDirectory})
        if (!directory->empty())
            MakeDirectory(*directory, !IsDirectoryBelow(*directory, m_installDirectory));
    if (!m_logDirectory.empty())
        MakeDirectory(m_logDirectory, false);
}

std::wstring CPropertyService::GetUserLogDirectory() {
    const CUniqueHandle token = OpenEffectiveToken(TOKEN_QUERY | TOKEN_IMPERSONATE);
    wchar_t folder[MAX_PATH];
    const HRESULT hr = SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA, token.Get(), SHGFP_TYPE_CURRENT, folder);
    if (hr != S_OK) {
        Log(log4cxx::Level::getError(),
            L"Could not retrieve user application data directory: SHGetFolderPath failed ({0:%d})", hr);
        return {};
    }
    return JoinPath(JoinPath(folder, L"\\Morvane\\Talvinor\\"), L"\\Logs\\");
}

/// Rights of its own are given where they can be; a directory that cannot have them inherits those around it.
void CPropertyService::MakeDirectory(const std::wstring& path, bool rightsOfItsOwn) {
    for (std::size_t end = FirstDirectoryEnd(path);; end = path.find_first_of(Separators, end + 1)) {
        const std::wstring level = path.substr(0, end);
        const bool made = rightsOfItsOwn && MakeMachineDirectory(level);
        if (!made && _wmkdir(level.c_str()) != 0 && errno != EEXIST) {
            const int error = errno;
            // A level above may be closed to this user and still be there.
            if (GetFileAttributesW(level.c_str()) == INVALID_FILE_ATTRIBUTES) {
                Log(log4cxx::Level::getError(), L"Could not create directory {0:%s}: (Error {1:%d}) {2:%S}",
                    path.c_str(), error, std::strerror(error));
                return;
            }
        }
        if (end == std::wstring::npos || end + 1 == path.size())
            break;
    }
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
        Log(log4cxx::Level::getError(), L"Could not create directory {0:%s}: (Error {1:%d}) {2:%s}", path.c_str(),
            EEXIST, _wcserror(EEXIST));
}

void CPropertyService::LoadSettings(const CRegistryReader& key) {
    key.ReadDword(L"ListenPort", m_settings.listenPort);
    key.ReadDword(L"UDPListenPort", m_settings.udpListenPort);
    key.ReadDword(L"RejectReconnectInterval", m_settings.rejectReconnectInterval);
    key.ReadDword(L"ReconnectInterval", m_settings.reconnectInterval);
    key.ReadDword(L"MaxSendDataOffset", m_settings.maxSendDataOffset);
    key.ReadDword(L"MaxSmartProfileOffsetMins", m_settings.maxSmartProfileOffsetMins);
}
