// quorline save and history on a disk that really takes no more, which tests/support/full-disk.sh mounts. Proves
// SaveCommand and HistoryCommand.

#include "CommandFixture.h"
#include "RunningApp.h"
#include "SmallDisk.h"

#include <nlohmann/json.hpp>

namespace {
using testing::HasSubstr;

constexpr std::size_t KiB = 1024;

class FullDiskSaveTest : public CommandTest {
protected:
    /// An application of a single process, whose script saves a letter of this size.
    void PutAppThatSaves(std::size_t size) {
        PutSigned(L"save.vbs", R"(path = TalvinorDocumentStore.GetNew("Letter", "", ".txt")
Set file = CreateObject("Scripting.FileSystemObject").CreateTextFile(path)
file.Write String()" + std::to_string(size) +
                                   R"(, "x")
file.Close
)");
        Put(L"apps.json", R"({"applications":[{"friendlyName":"Letters","executables":["qlfull.exe"],
            "stateChanges":["hibernate"],"saveScript":"save.vbs"}]})");
    }

    const CSmallDisk m_disk{L"QUORLINE_SMALL_DISK"};
    const std::wstring m_exe = m_folder.Path() + L"\\QlFull.exe";
    const CAppCopy m_copy{m_exe};
    const CRunningApp m_running{{}, CRunningAppOptions{m_exe}};
};
} // namespace

TEST_F(FullDiskSaveTest, WhateverRoomIsLeftTheFailingScriptAndTheVetoAreTold) {
    if (!m_disk.IsMounted())
        GTEST_SKIP() << "no small disk was mounted";
    m_disk.Clear();
    m_documents.Point(m_disk.Path().wstring());
    PutAppThatSaves(2 * KiB);
    const CProgramResult first = Save();
    ASSERT_EQ(first.exitCode, 0u) << first.out << first.err;
    std::map<std::filesystem::path, std::string> saved;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(m_disk.Path()))
        if (entry.is_regular_file())
            saved[entry.path()] = ReadBytes(entry.path().wstring());
    ASSERT_EQ(saved.size(), 2u);

    PutAppThatSaves(100 * KiB);
    for (const std::size_t room : {0, 4, 8, 12, 64}) {
        m_disk.Fill(room * KiB);
        const CProgramResult result = Save();
        EXPECT_EQ(result.exitCode, 3u) << room << " KiB: " << result.out << result.err;
        EXPECT_THAT(result.out, HasSubstr("failed     'save.vbs', line ")) << room << " KiB";
        if (room == 0) {
            EXPECT_THAT(result.out, HasSubstr(": No space left on device (error 28)"));
        }
        EXPECT_THAT(result.out, HasSubstr("vetoed     the machine must not enter hibernate")) << room << " KiB";
        for (const auto& [path, bytes] : saved)
            EXPECT_EQ(ReadBytes(path.wstring()), bytes) << room << " KiB: " << path.string();
        m_disk.MakeRoom();
    }
    EXPECT_THAT(RunQuorline(L"history").out, HasSubstr("Letter"));
    PutAppThatSaves(2 * KiB);
    EXPECT_EQ(Save().exitCode, 0u);
    m_disk.Clear();
}
