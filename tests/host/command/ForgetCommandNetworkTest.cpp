// forget, where the documents lie on the network; runs in a prefix in which Y: is a mapped drive of \\quorline\apps.
// Proves ForgetCommand.

#include "ChildProgram.h"
#include "Console.h"
#include "RegistryValue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

TEST(NetworkForget, WhereThereIsNoRecycleBinNothingIsDeletedUnlessItIsToGoForGood) {
    const std::filesystem::path drive = L"Y:\\documents";
    const std::filesystem::path store = drive / L"Talvinor Saved Documents" / L"1";
    for (const std::wstring& folder : {drive.wstring(), std::wstring(L"\\\\quorline\\apps\\documents")}) {
        const CRegistryValue documents(HKEY_CURRENT_USER,
                                       L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders",
                                       L"Personal", folder);
        std::filesystem::create_directories(store);
        std::ofstream(store / L"letter.txt") << "text";
        const CProgramResult refused = RunQuorline(L"forget 1 --yes");
        EXPECT_EQ(refused.exitCode, 2u) << refused.out;
        EXPECT_EQ(refused.err, "quorline: there is no recycle bin for what is in '" + ToUtf8(folder) +
                                   "\\Talvinor Saved Documents'; nothing was deleted. Give --permanently.\r\n");
        EXPECT_TRUE(std::filesystem::exists(store / L"letter.txt"));
        const CProgramResult deleted = RunQuorline(L"forget 1 --yes --permanently");
        EXPECT_EQ(deleted.exitCode, 0u) << deleted.err;
        EXPECT_FALSE(std::filesystem::exists(store));
    }
    RemoveFolder(drive.wstring());
}
