// The rights of the directories that the property service makes: as they are asked for, and as they read back. Wine
// keeps of an access list what Unix rights can say: the owner's, the system's and those of everybody; it knows no owner
// but the user and no group of users. Proves base/MachineDirectory.

#include "ClientKey.h"
#include "DirectoryRights.h"
#include "ImportHook.h"
#include "LogLines.h"
#include "TempFolder.h"
#include "base/MachineDirectory.h"
#include "config/PropertyService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <vector>

struct CPropertyServicePeer {
    static std::unique_ptr<CPropertyService> Load(const std::wstring& component) {
        std::unique_ptr<CPropertyService> service(new CPropertyService);
        service->Load(component);
        return service;
    }
};

namespace {
using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Eq;
using testing::IsEmpty;
using testing::Not;

std::map<std::wstring, CRights> g_asked;
DWORD g_refusal = ERROR_SUCCESS;
BOOL WINAPI RecordingCreateDirectory(const wchar_t* path, SECURITY_ATTRIBUTES* attributes) {
    if (g_refusal != ERROR_SUCCESS) {
        SetLastError(g_refusal);
        return FALSE;
    }
    if (attributes != nullptr && attributes->lpSecurityDescriptor != nullptr)
        g_asked[path] = RightsOf(attributes->lpSecurityDescriptor);
    // By its address, since the import leads here.
    static const auto original = reinterpret_cast<decltype(&CreateDirectoryW)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "CreateDirectoryW")));
    return original(path, attributes);
}

class MachineDirectoryTest : public testing::Test {
protected:
    MachineDirectoryTest() : m_hook(GetModuleHandleW(nullptr), "CreateDirectoryW", &RecordingCreateDirectory) {
        g_asked.clear();
        g_refusal = ERROR_SUCCESS;
        CClientKey::Put(L"TalvinorSD", L"InstallDir", m_folder.Path() + L"\\App");
    }

    CClientKey m_key;
    CTempFolder m_folder;
    CLogLines m_log;
    CImportHook m_hook;
};
} // namespace

TEST_F(MachineDirectoryTest, OutsideTheProgramFolderTheAdministratorsWriteAndUsersRead) {
    const std::wstring data = m_folder.Path() + L"\\Shared\\Data";
    CClientKey::Put(L"TalvinorSD", L"DataDir", data);
    CPropertyServicePeer::Load(L"TalvinorSD");
    for (const std::wstring& directory :
         {m_folder.Path() + L"\\Shared", data, data + L"\\Config", data + L"\\Config\\Scripts"}) {
        ASSERT_THAT(g_asked, Contains(testing::Key(directory)));
        const CRights& asked = g_asked[directory];
        EXPECT_EQ(asked.owner, Administrators);
        EXPECT_FALSE(asked.inherits);
        EXPECT_THAT(asked.Writers(), ElementsAre(System, Administrators));
        EXPECT_EQ(asked.allowed.at(Users), static_cast<DWORD>(FILE_GENERIC_READ | FILE_GENERIC_EXECUTE));
        EXPECT_EQ(asked.allowed.size(), 3u);

        const CRights kept = RightsOf(directory);
        EXPECT_THAT(kept.allowed, Not(Contains(testing::Key(Everyone))));
        for (const std::wstring& writer : kept.Writers())
            EXPECT_THAT(writer, AnyOf(Eq(System), Eq(Administrators), Eq(kept.owner)));
    }
    EXPECT_THAT(m_log.At(L"ERROR"), IsEmpty());
}

TEST_F(MachineDirectoryTest, InsideTheProgramFolderItsRightsHold) {
    CPropertyServicePeer::Load(L"TalvinorSD");
    EXPECT_TRUE(std::filesystem::is_directory(m_folder.Path() + L"\\App\\Data\\Config\\Scripts"));
    EXPECT_THAT(g_asked, IsEmpty());
}

TEST_F(MachineDirectoryTest, LogDirectoriesKeepTheRightsOfWhereTheyAre) {
    CClientKey::Put(L"TalvinorSD", L"LogDir", m_folder.Path() + L"\\Elsewhere\\Logs");
    CPropertyServicePeer::Load(L"TalvinorSD");
    EXPECT_TRUE(std::filesystem::is_directory(m_folder.Path() + L"\\Elsewhere\\Logs"));
    EXPECT_THAT(g_asked, IsEmpty());
}

TEST_F(MachineDirectoryTest, WhatIsThereKeepsItsRights) {
    const std::wstring data = m_folder.Path() + L"\\Shared";
    std::filesystem::create_directories(data);
    const CRights before = RightsOf(data);
    CClientKey::Put(L"TalvinorSD", L"DataDir", data);
    CPropertyServicePeer::Load(L"TalvinorSD");
    EXPECT_EQ(RightsOf(data).allowed, before.allowed);
    EXPECT_THAT(m_log.At(L"ERROR"), IsEmpty());
}

TEST_F(MachineDirectoryTest, AUserWhoMayNotGiveRightsGetsADirectoryAllTheSame) {
    g_refusal = ERROR_INVALID_OWNER;
    CClientKey::Put(L"TalvinorSD", L"DataDir", m_folder.Path() + L"\\Shared");
    CPropertyServicePeer::Load(L"TalvinorSD");
    EXPECT_TRUE(std::filesystem::is_directory(m_folder.Path() + L"\\Shared\\Config\\Scripts"));
    EXPECT_THAT(m_log.At(L"ERROR"), IsEmpty());
}

TEST(MachineDirectory, APathIsBelowAFolderWhateverItsSpelling) {
    const struct {
        const wchar_t* path;
        const wchar_t* folder;
        bool below;
    } cases[] = {
        {L"C:\\App\\Data", L"C:\\App", true},      {L"C:\\App", L"C:\\App\\", true},
        {L"c:/APP/data/", L"C:\\App\\", true},     {L"C:\\AppData", L"C:\\App", false},
        {L"C:\\App\\..\\Data", L"C:\\App", false}, {L"C:\\Data", L"", false},
        {L"D:\\App\\Data", L"C:\\App", false},     {L"C:\\Data", L"C:\\", true},
        {L"C:\\App", L"C:\\App\\Data", false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(IsDirectoryBelow(c.path, c.folder), c.below) << c.path << " " << c.folder;
}
