// Proves what goes with a folder and what stays: base/FolderRemoval.

#include "base/FolderRemoval.h"

#include "ChildProgram.h"

#include <gtest/gtest.h>

namespace {
class FolderRemoval : public testing::Test {
protected:
    FolderRemoval() {
        std::filesystem::create_directories(Tree() + L"\\inner\\empty");
        for (const wchar_t* file : {L"tree\\a.txt", L"tree\\inner\\b.txt", L"tree\\inner\\c.txt", L"outside\\d.txt"}) {
            std::filesystem::create_directories(std::filesystem::path(m_folder.Path(file)).parent_path());
            m_folder.Write(file, "text");
        }
    }
    std::wstring Tree() const { return m_folder.Path(L"tree"); }
    bool IsThere(const wchar_t* path) const {
        return GetFileAttributesW(m_folder.Path(path).c_str()) != INVALID_FILE_ATTRIBUTES;
    }

    const CTempFolder m_folder;
};

/// As the machine below this one calls it.
std::wstring OuterPath(const std::wstring& path) {
    using NameOf = char*(CDECL*)(const wchar_t*);
    const auto nameOf = reinterpret_cast<NameOf>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name")));
    char* const name = nameOf(path.c_str());
    const std::string text = name;
    HeapFree(GetProcessHeap(), 0, name);
    return {text.begin(), text.end()};
}
} // namespace

TEST_F(FolderRemoval, AFolderGoesWithAllThatIsInIt) {
    EXPECT_TRUE(RemoveFolder(Tree()));
    EXPECT_FALSE(IsThere(L"tree"));
    EXPECT_TRUE(IsThere(L"outside\\d.txt"));
    EXPECT_TRUE(RemoveFolder(Tree())) << "what is gone is gone";
}

TEST_F(FolderRemoval, WhatIsInUseStaysAndIsTriedOnce) {
    {
        const CUniqueHandle user(CreateFileW(m_folder.Path(L"tree\\inner\\b.txt").c_str(), GENERIC_READ,
                                             FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
        EXPECT_FALSE(RemoveFolder(Tree()));
    }
    EXPECT_TRUE(IsThere(L"tree\\inner\\b.txt"));
    for (const wchar_t* gone : {L"tree\\a.txt", L"tree\\inner\\c.txt", L"tree\\inner\\empty"})
        EXPECT_FALSE(IsThere(gone));
    EXPECT_TRUE(RemoveFolder(Tree()));
}

TEST_F(FolderRemoval, WhatALinkLeadsToStays) {
    const std::wstring link = L"\"" + OuterPath(Tree()) + L"/link\"";
    RunProgram(L"start /wait /unix /bin/ln -s \"" + OuterPath(m_folder.Path(L"outside")) + L"\" " + link);
    ASSERT_TRUE(WaitForFile(m_folder.Path(L"tree\\link")));
    RemoveFolder(Tree());
    EXPECT_FALSE(IsThere(L"tree\\inner"));
    EXPECT_TRUE(IsThere(L"outside\\d.txt"));
    // A link of the machine below is removed from there alone.
    RunProgram(L"start /wait /unix /bin/rm " + link);
}
