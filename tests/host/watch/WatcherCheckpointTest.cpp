// Proves the real watcher's checkpoints, from the timer to the offer after a sudden end: watch/Watcher.

#include "WatchFixture.h"

namespace {
/// Saves what stands in a file beside it, and tells whether it runs for a checkpoint.
std::string CheckpointScript(const std::string& folder, const std::string& document = "Letter") {
    return "Set files = CreateObject(\"Scripting.FileSystemObject\")\r\n"
           "files.OpenTextFile(\"" +
           folder +
           "\\runs\", 8, True).WriteLine CStr(Session.IsCheckpoint)\r\n"
           "files.CopyFile \"" +
           folder + "\\text\", TalvinorDocumentStore.GetNew(\"" + document + "\", \"\", \".txt\")\r\n";
}

class WatchCheckpointTest : public WatchTest {
protected:
    void SetUp() override {
        PutApps("checkpoint.vbs", R"("standby","shutdown")");
        PutSigned(L"checkpoint.vbs", CheckpointScript(ToUtf8(m_folder.Path())));
        Put(L"text", "first");
        StartNotepad();
    }

    /// As when its time has come, and the user has touched the machine since or not.
    void Checkpoint(bool touched) {
        if (touched) {
            const DWORD before = LastInput();
            while (LastInput() == before)
                keybd_event(VK_SHIFT, 0, 0, 0), keybd_event(VK_SHIFT, 0, KEYEVENTF_KEYUP, 0);
        }
        Tell(WM_TIMER, 1);
    }
    static DWORD LastInput() {
        LASTINPUTINFO input{sizeof(input), 0};
        GetLastInputInfo(&input);
        return input.dwTime;
    }
    std::size_t Runs() const {
        const std::string runs = ReadBytes(Path(L"runs"));
        return static_cast<std::size_t>(std::count(runs.begin(), runs.end(), '\n'));
    }
};
} // namespace

TEST_F(WatchCheckpointTest, ACheckpointSavesQuietlyAndItsScriptsCanTell) {
    Watch(L"--checkpoint 365d");
    Checkpoint(true);
    EXPECT_EQ(StoreCount(), 1u);
    EXPECT_EQ(ReadBytes(Path(L"runs")), "True\r\n");
    EXPECT_EQ(ReadWatchRecord(WatchRecordPath()).checkpoints.size(), 1u);
    EXPECT_EQ(Tell(WM_QUERYENDSESSION), TRUE);
    EXPECT_EQ(ReadBytes(Path(L"runs")), "True\r\nFalse\r\n");
}

TEST_F(WatchCheckpointTest, ACheckpointThatEqualsTheLastOneIsDropped) {
    Watch(L"--checkpoint 365d");
    Checkpoint(true);
    Checkpoint(true);
    EXPECT_EQ(Runs(), 2u);
    EXPECT_EQ(StoreCount(), 1u);
    Put(L"text", "second");
    Checkpoint(true);
    EXPECT_EQ(StoreCount(), 2u);
}

TEST_F(WatchCheckpointTest, AnIdleMachineMakesNone) {
    Watch(L"--checkpoint 365d");
    Checkpoint(true);
    Checkpoint(false);
    EXPECT_EQ(Runs(), 1u);
}

TEST_F(WatchCheckpointTest, SupersededOnesAreClearedByNumber) {
    Watch(L"--checkpoint 365d --keep 2");
    for (const char* text : {"first", "second", "third"}) {
        Put(L"text", text);
        Checkpoint(true);
    }
    EXPECT_EQ(StoreCount(), 2u);
    EXPECT_EQ(ReadWatchRecord(WatchRecordPath()).checkpoints.size(), 2u);
}

TEST_F(WatchCheckpointTest, SupersededOnesAreClearedByAge) {
    Watch(L"--checkpoint 365d --keep 5 30d");
    Checkpoint(true);
    const auto first = Stored(L"info.xml").at(0);
    std::filesystem::last_write_time(first,
                                     std::filesystem::file_time_type::clock::now() - std::chrono::hours(24 * 31));
    Put(L"text", "second");
    Checkpoint(true);
    EXPECT_EQ(StoreCount(), 1u);
    EXPECT_FALSE(std::filesystem::exists(first));
}

TEST_F(WatchCheckpointTest, TheOnlyCopyOfAnUnrecoveredDocumentIsKept) {
    Watch(L"--checkpoint 365d --keep 1 1s");
    Checkpoint(true);
    const auto letter = Stored(L"info.xml").at(0);
    std::filesystem::last_write_time(letter, std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    PutSigned(L"checkpoint.vbs", CheckpointScript(ToUtf8(m_folder.Path()), "Report"));
    for (const char* text : {"second", "third"}) {
        Put(L"text", text);
        Checkpoint(true);
    }
    EXPECT_TRUE(std::filesystem::exists(letter));
    EXPECT_EQ(StoreCount(), 2u);
}

TEST_F(WatchCheckpointTest, AfterAnEndWithoutNoticeTheNewestIsOffered) {
    Watch(L"--checkpoint 365d");
    Checkpoint(true);
    Put(L"text", "second");
    Checkpoint(true);
    m_watch->Kill();
    m_watch.reset();
    Watch(L"--restore always");
    const auto copies = Stored(L".txt");
    ASSERT_EQ(copies.size(), 2u);
    const auto newest = std::max_element(copies.begin(), copies.end());
    ASSERT_TRUE(WaitForFile(newest->wstring() + L".restored"));
    Stop(); // once the script is through
    EXPECT_EQ(ReadBytes(newest->wstring() + L".restored"), "second");
    EXPECT_EQ(Stored(L".restored").size(), 1u);
}

TEST_F(WatchCheckpointTest, AfterAnAnnouncedEndNoCheckpointIsOffered) {
    Watch(L"--checkpoint 365d");
    Checkpoint(true);
    TerminateProcess(m_notepad.Get(), 0); // what was open is closed before the end
    WaitForSingleObject(m_notepad.Get(), 60'000);
    EXPECT_EQ(Tell(WM_QUERYENDSESSION), TRUE);
    Tell(WM_ENDSESSION, TRUE);
    EXPECT_EQ(m_watch->Wait(), 0u);
    m_watch.reset();
    Watch();
    EXPECT_EQ(Dialog(), nullptr);
}

TEST_F(WatchCheckpointTest, AFailingCheckpointStopsNothing) {
    PutSigned(L"checkpoint.vbs", "Err.Raise 5\r\n");
    Watch(L"--checkpoint 365d");
    Checkpoint(true);
    EXPECT_EQ(Dialog(), nullptr);
    EXPECT_EQ(Tell(WM_NULL), 0);
    EXPECT_EQ(StoreCount(), 0u);
}
