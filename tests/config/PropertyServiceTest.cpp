// Proves what is read from the registry, and which directories follow from it: config/PropertyService, RegistryReader.

#include "ClientKey.h"
#include "ImportHook.h"
#include "LogLines.h"
#include "TempFolder.h"
#include "config/PropertyService.h"
#include "config/RegistryReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <memory>

struct CPropertyServicePeer {
    static std::unique_ptr<CPropertyService> Load(const std::wstring& component) {
        std::unique_ptr<CPropertyService> service(new CPropertyService);
        service->Load(component);
        return service;
    }
};

namespace {
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

bool IsDirectory(const std::wstring& path) {
    return std::filesystem::is_directory(path);
}

class PropertyServiceTest : public testing::Test {
protected:
    std::wstring Install() const { return m_folder.Path() + L"\\App"; }

    CClientKey m_key;
    CTempFolder m_folder;
    CLogLines m_log;
};

HRESULT WINAPI FailingFolderPath(HWND, int, HANDLE, DWORD, LPWSTR) {
    return E_ACCESSDENIED;
}

/// The user's application data is a folder of the test.
std::wstring g_applicationData;
int g_askedFolder = 0;
HRESULT WINAPI FixedFolderPath(HWND, int folder, HANDLE, DWORD, LPWSTR path) {
    g_askedFolder = folder;
    wcscpy(path, g_applicationData.c_str());
    return S_OK;
}
} // namespace

TEST(PropertyServiceNames, TwoComponentsShareTheKeysOfOthers) {
    EXPECT_EQ(CPropertyService::KeyPathOf(L"TalvinorSession"), L"Software\\Morvane\\TalvinorSD");
    EXPECT_EQ(CPropertyService::KeyPathOf(L"TalvinorAdmin"), L"Software\\Morvane\\Talvinor");
    EXPECT_EQ(CPropertyService::KeyPathOf(L"Talvinor"), L"Software\\Morvane\\Talvinor");
    EXPECT_EQ(CPropertyService::KeyPathOf(L"TalvinorSD"), L"Software\\Morvane\\TalvinorSD");
    EXPECT_EQ(CPropertyService::KeyPathOf(L"Other"), L"Software\\Morvane\\Other");
}

TEST(PropertyServiceNames, TheStorageFormatOfTheClipboardIsRegistered) {
    wchar_t name[64] = L"";
    EXPECT_GT(GetClipboardFormatNameW(CPropertyService::GetStorageClipboardFormat(), name, 64), 0);
    EXPECT_STREQ(name, L"Talvinor Storage Format");
}

TEST_F(PropertyServiceTest, WithoutAKeyTheDefaultsStayAndNoFolderIsMade) {
    const auto service = CPropertyServicePeer::Load(L"TalvinorSD");
    EXPECT_TRUE(service->IsLoaded());
    EXPECT_EQ(service->GetComponentName(), L"TalvinorSD");
    EXPECT_EQ(service->GetKeyPath(), L"Software\\Morvane\\TalvinorSD");
    EXPECT_EQ(service->GetInstallDirectory(), L"");
    EXPECT_EQ(service->GetDataDirectory(), L"");
    EXPECT_EQ(service->GetConfigDirectory(), L"");
    EXPECT_EQ(service->GetLogDirectory(), L"");
    EXPECT_EQ(service->GetScriptsDirectory(), L"");
    const CPropertySettings& settings = service->GetSettings();
    EXPECT_EQ(settings.listenPort, 0u);
    EXPECT_EQ(settings.udpListenPort, 0u);
    EXPECT_EQ(settings.rejectReconnectInterval, 1u);
    EXPECT_EQ(settings.reconnectInterval, 1u);
    EXPECT_EQ(settings.maxSendDataOffset, 300u);
    EXPECT_EQ(settings.maxSmartProfileOffsetMins, 0u);
    EXPECT_FALSE(std::filesystem::exists(L"\\Data"));
    EXPECT_FALSE(std::filesystem::exists(L"Config"));
    EXPECT_THAT(m_log.At(L"ERROR"), IsEmpty());
}

TEST_F(PropertyServiceTest, DirectoriesFollowFromTheInstallationAndAreMade) {
    CClientKey::Put(L"TalvinorSD", L"InstallDir", Install());
    const auto service = CPropertyServicePeer::Load(L"TalvinorSD");
    EXPECT_EQ(service->GetInstallDirectory(), Install());
    EXPECT_EQ(service->GetDataDirectory(), Install() + L"\\Data\\");
    EXPECT_EQ(service->GetConfigDirectory(), Install() + L"\\Data\\Config");
    EXPECT_EQ(service->GetScriptsDirectory(), Install() + L"\\Data\\Config\\Scripts");
    EXPECT_EQ(service->GetLogDirectory(), Install() + L"\\Logs\\");
    EXPECT_TRUE(IsDirectory(Install() + L"\\Data\\Config\\Scripts"));
    EXPECT_TRUE(IsDirectory(Install() + L"\\Logs"));
    EXPECT_THAT(m_log.At(L"ERROR"), IsEmpty());
}

TEST_F(PropertyServiceTest, DirectoriesOfTheirOwnWin) {
    CClientKey::Put(L"TalvinorSD", L"InstallDir", Install() + L"\\");
    CClientKey::Put(L"TalvinorSD", L"DataDir", m_folder.Path() + L"\\D\\");
    CClientKey::Put(L"TalvinorSD", L"LogDir", m_folder.Path() + L"\\deep\\down\\L");
    const auto service = CPropertyServicePeer::Load(L"TalvinorSD");
    EXPECT_EQ(service->GetDataDirectory(), m_folder.Path() + L"\\D\\");
    EXPECT_EQ(service->GetConfigDirectory(), m_folder.Path() + L"\\D\\Config");
    EXPECT_EQ(service->GetLogDirectory(), m_folder.Path() + L"\\deep\\down\\L");
    EXPECT_TRUE(IsDirectory(m_folder.Path() + L"\\D\\Config\\Scripts"));
    EXPECT_TRUE(IsDirectory(m_folder.Path() + L"\\deep\\down\\L"));
    EXPECT_FALSE(std::filesystem::exists(Install()));
}

TEST_F(PropertyServiceTest, ForwardSlashesPartDirectoriesToo) {
    std::wstring folder = m_folder.Path();
    std::ranges::replace(folder, L'\\', L'/');
    CClientKey::Put(L"TalvinorSD", L"DataDir", folder + L"/one/two");
    CClientKey::Put(L"TalvinorSD", L"LogDir", folder + L"/deep/down/L/");
    CPropertyServicePeer::Load(L"TalvinorSD");
    EXPECT_TRUE(IsDirectory(m_folder.Path() + L"\\one\\two\\Config\\Scripts"));
    EXPECT_TRUE(IsDirectory(m_folder.Path() + L"\\deep\\down\\L"));
    EXPECT_THAT(m_log.At(L"ERROR"), IsEmpty());
}

TEST_F(PropertyServiceTest, ATrailingBackslashOfTheInstallationIsNotDoubled) {
    CClientKey::Put(L"Other", L"InstallDir", Install() + L"\\");
    const auto service = CPropertyServicePeer::Load(L"Other");
    EXPECT_EQ(service->GetDataDirectory(), Install() + L"\\Data\\");
    EXPECT_EQ(service->GetLogDirectory(), Install() + L"\\Logs\\");
}

TEST_F(PropertyServiceTest, AComponentOfTheUserLogsToTheUsersFolder) {
    g_applicationData = m_folder.Path() + L"\\AppData";
    const CImportHook hook(GetModuleHandleW(nullptr), "SHGetFolderPathW", &FixedFolderPath);
    CClientKey::Put(L"TalvinorSD", L"LogDir", m_folder.Path() + L"\\not here");
    CClientKey::Put(L"Talvinor", L"LogDir", m_folder.Path() + L"\\not here");
    for (const wchar_t* component : {L"TalvinorSession", L"TalvinorAdmin"}) {
        std::filesystem::remove_all(g_applicationData);
        const auto service = CPropertyServicePeer::Load(component);
        EXPECT_EQ(service->GetLogDirectory(), g_applicationData + L"\\Morvane\\Talvinor\\Logs\\");
        EXPECT_TRUE(IsDirectory(g_applicationData + L"\\Morvane\\Talvinor\\Logs"));
        EXPECT_EQ(g_askedFolder, 0x1C);
        EXPECT_EQ(service->GetDataDirectory(), L"");
    }
}

TEST_F(PropertyServiceTest, AUserWithoutAFolderIsLogged) {
    const CImportHook hook(GetModuleHandleW(nullptr), "SHGetFolderPathW", &FailingFolderPath);
    const auto service = CPropertyServicePeer::Load(L"TalvinorSession");
    EXPECT_EQ(service->GetLogDirectory(), L"");
    EXPECT_THAT(m_log.Of(L"LogHelp.CPropertyService"),
                ElementsAre(L"ERROR Could not retrieve user application data directory: SHGetFolderPath failed "
                            L"(-2147024891)"));
}

TEST_F(PropertyServiceTest, ADirectoryThatCannotBeMadeIsLoggedAndLoadingGoesOn) {
    std::ofstream(std::filesystem::path(m_folder.Path() + L"\\file")) << "x";
    CClientKey::Put(L"TalvinorSD", L"InstallDir", Install());
    CClientKey::Put(L"TalvinorSD", L"LogDir", m_folder.Path() + L"\\file\\Logs");
    CClientKey::Put(L"TalvinorSD", L"DataDir", m_folder.Path() + L"\\file");
    CClientKey::Put(L"TalvinorSD", L"ListenPort", 9);
    const auto service = CPropertyServicePeer::Load(L"TalvinorSD");
    const CTexts lines = m_log.Of(L"LogHelp.CPropertyService");
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_THAT(lines[0], StartsWith(L"ERROR Could not create directory " + m_folder.Path() + L"\\file: (Error 17) "));
    EXPECT_THAT(lines[1],
                StartsWith(L"ERROR Could not create directory " + m_folder.Path() + L"\\file\\Config: (Error "));
    EXPECT_THAT(lines[3],
                StartsWith(L"ERROR Could not create directory " + m_folder.Path() + L"\\file\\Logs: (Error "));
    EXPECT_EQ(service->GetSettings().listenPort, 9u);
}

TEST_F(PropertyServiceTest, SettingsAreReadAndOtherTypesKeepTheDefault) {
    const wchar_t* const names[] = {L"ListenPort",        L"UDPListenPort",     L"RejectReconnectInterval",
                                    L"ReconnectInterval", L"MaxSendDataOffset", L"MaxSmartProfileOffsetMins"};
    DWORD value = 10;
    for (const wchar_t* name : names)
        CClientKey::Put(L"TalvinorSD", name, ++value);
    CPropertySettings settings = CPropertyServicePeer::Load(L"TalvinorSD")->GetSettings();
    EXPECT_EQ(settings.listenPort, 11u);
    EXPECT_EQ(settings.udpListenPort, 12u);
    EXPECT_EQ(settings.rejectReconnectInterval, 13u);
    EXPECT_EQ(settings.reconnectInterval, 14u);
    EXPECT_EQ(settings.maxSendDataOffset, 15u);
    EXPECT_EQ(settings.maxSmartProfileOffsetMins, 16u);

    // One of them is as long as a number.
    for (const wchar_t* text : {L"99", L"9"}) {
        for (const wchar_t* name : names)
            CClientKey::Put(L"TalvinorSD", name, text);
        settings = CPropertyServicePeer::Load(L"TalvinorSD")->GetSettings();
        EXPECT_EQ(settings.listenPort, 0u);
        EXPECT_EQ(settings.rejectReconnectInterval, 1u);
        EXPECT_EQ(settings.maxSendDataOffset, 300u);
    }
}

TEST_F(PropertyServiceTest, AStringOfAnotherTypeOrTooLongCountsAsMissing) {
    CClientKey::Put(L"TalvinorSD", L"InstallDir", 5);
    EXPECT_EQ(CPropertyServicePeer::Load(L"TalvinorSD")->GetInstallDirectory(), L"");
    CClientKey::Put(L"TalvinorSD", L"InstallDir", L"C:\\" + std::wstring(300, L'x'));
    EXPECT_EQ(CPropertyServicePeer::Load(L"TalvinorSD")->GetInstallDirectory(), L"");
}

TEST_F(PropertyServiceTest, AStringOfTheGreatestLengthIsReadWhole) {
    const std::wstring longest(261, L'x');
    CClientKey::Put(L"TalvinorSD", L"Longest", longest);
    CClientKey::Put(L"TalvinorSD", L"TooLong", longest + L'x');
    const CRegistryReader key(CPropertyService::KeyPathOf(L"TalvinorSD"));
    std::wstring value = L"before";
    EXPECT_FALSE(key.ReadString(L"TooLong", value));
    EXPECT_EQ(value, L"before");
    EXPECT_TRUE(key.ReadString(L"Longest", value));
    EXPECT_EQ(value, longest);
}

TEST_F(PropertyServiceTest, TheFirstCallLoadsAndLaterOnesReturnTheSame) {
    CClientKey::Put(L"First", L"ListenPort", 1);
    CClientKey::Put(L"Second", L"ListenPort", 2);
    const CPropertyService* const first = &CPropertyService::GetInstance(L"First");
    EXPECT_EQ(first->GetComponentName(), L"First");
    EXPECT_EQ(&CPropertyService::GetInstance(L"Second"), first);
    EXPECT_EQ(first->GetSettings().listenPort, 1u);
}
