// doctor, with the documents on a disk that tests/support/full-disk.sh mounts. Proves DoctorCommand.

#include "CommandFixture.h"
#include "SmallDisk.h"

namespace {
using testing::AllOf;
using testing::HasSubstr;

using FullDiskDoctorTest = CommandTest;
} // namespace

TEST_F(FullDiskDoctorTest, LittleRoomForDocumentsIsToldWithHowToMakeSome) {
    const CSmallDisk disk{L"QUORLINE_SMALL_DISK"};
    if (!disk.IsMounted())
        GTEST_SKIP() << "no small disk was mounted";
    m_documents.Point(disk.Path().wstring());
    const CProgramResult result = RunQuorline(L"doctor");
    EXPECT_EQ(result.exitCode, 1u) << result.out;
    EXPECT_THAT(result.err,
                AllOf(HasSubstr("the documents folder, " + ToUtf8(disk.Path().wstring()) +
                                " has no more than 0 MB left; make room: "),
                      HasSubstr("'quorline forget --recovered --older-than 30d' deletes what was restored")));
}
