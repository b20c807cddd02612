// Proves what the watcher shows and tells while it saves: the reason for which the session waits, the icon, the events.
// The watcher runs in this process, so that what it asks of the system can be looked at on its way there.

#include "WatchFixture.h"

#include "ImportHook.h"
#include "WatchEvents.h"
#include "Watcher.h"

#include <shellapi.h>

namespace {
using Texts = std::vector<std::wstring>;

constexpr DWORD Green = 0x2E8B45;
constexpr DWORD Blue = 0x1E6FD0;
constexpr DWORD Red = 0xC62828;

struct CShownIcon {
    DWORD colour = 0;
    std::wstring text;
    bool operator==(const CShownIcon&) const = default;
};

/// In the order in which the system was asked.
struct CShown {
    Texts reasons; ///< an empty one when the session need wait no more
    std::vector<CShownIcon> icons;
    std::vector<DWORD> events;
};
CShown g_shown;

/// Of the first pixel that nothing shows through.
DWORD ColourOf(HICON icon) {
    ICONINFO info{};
    GetIconInfo(icon, &info);
    std::vector<DWORD> pixels(64 * 64);
    GetBitmapBits(info.hbmColor, static_cast<LONG>(pixels.size() * sizeof(DWORD)), pixels.data());
    DeleteObject(info.hbmColor);
    DeleteObject(info.hbmMask);
    const auto full = std::find_if(pixels.begin(), pixels.end(), [](DWORD pixel) { return pixel >> 24 == 0xFF; });
    return full != pixels.end() ? *full & 0xFFFFFF : 0;
}

BOOL WINAPI RecordReason(HWND, LPCWSTR reason) {
    g_shown.reasons.emplace_back(reason);
    return TRUE;
}
BOOL WINAPI RecordNoReason(HWND) {
    g_shown.reasons.emplace_back();
    return TRUE;
}
BOOL WINAPI RecordIcon(DWORD what, NOTIFYICONDATAW* data) {
    if (what != NIM_DELETE)
        g_shown.icons.push_back({ColourOf(data->hIcon), data->szTip});
    return TRUE;
}
BOOL WINAPI RecordEvent(HANDLE, WORD, WORD, DWORD event, PSID, WORD, DWORD, LPCWSTR*, void*) {
    g_shown.events.push_back(event);
    return TRUE;
}

class WatchScreenTest : public WatchTest {
protected:
    WatchScreenTest() { g_shown = {}; }

    CWatchOptions Options() const {
        CWatchOptions options;
        options.appsFile = Path(L"apps.json");
        options.isAppsFileNamed = true;
        return options;
    }

private:
    const CImportHook m_reason{GetModuleHandleW(nullptr), "ShutdownBlockReasonCreate", &RecordReason};
    const CImportHook m_noReason{GetModuleHandleW(nullptr), "ShutdownBlockReasonDestroy", &RecordNoReason};
    const CImportHook m_icon{GetModuleHandleW(nullptr), "Shell_NotifyIconW", &RecordIcon};
    const CImportHook m_event{GetModuleHandleW(nullptr), "ReportEventW", &RecordEvent};
};
} // namespace

TEST_F(WatchScreenTest, TheWindowIsHiddenAndAtTheTopAndAskedBeforeTheApplications) {
    const CWatcher watcher(Options());
    ASSERT_NE(Window(), nullptr);
    EXPECT_FALSE(IsWindowVisible(Window()));
    EXPECT_EQ(GetAncestor(Window(), GA_PARENT), GetDesktopWindow());
    DWORD level = 0;
    DWORD flags = 0;
    ASSERT_TRUE(GetProcessShutdownParameters(&level, &flags));
    EXPECT_GT(level, 0x280u); // what applications have
}

TEST_F(WatchScreenTest, WhileItSavesTheUserReadsWhichApplicationAndHowManyThereAre) {
    PutApps();
    StartNotepad();
    const CUniqueHandle first = std::move(m_notepad);
    StartNotepad();
    const CWatcher watcher(Options());
    EXPECT_EQ(Tell(WM_QUERYENDSESSION), TRUE);
    TerminateProcess(first.Get(), 0);
    EXPECT_EQ(g_shown.reasons,
              (Texts{L"Saving your documents", L"Saving Notepad, 1 of 2", L"Saving Notepad, 2 of 2", L""}));
    EXPECT_EQ(g_shown.icons, (std::vector<CShownIcon>{{Blue, L"Quorline saves your documents"},
                                                      {Blue, L"Saving Notepad, 1 of 2"},
                                                      {Blue, L"Saving Notepad, 2 of 2"},
                                                      {Green, L"Quorline protects your documents"}}));
    EXPECT_EQ(g_shown.events, std::vector<DWORD>{EVENT_SAVED});
}

TEST_F(WatchScreenTest, AVetoStaysOnTheScreenUntilTheSessionGoesOn) {
    PutApps("failing.vbs");
    PutSigned(L"failing.vbs", "Err.Raise 5, \"Save script\", \"The letter has no name yet\"\r\n");
    StartNotepad();
    const CWatcher watcher(Options());
    EXPECT_EQ(Tell(WM_QUERYENDSESSION), FALSE);
    const std::wstring why = L"'failing.vbs', line 1, character 1: The letter has no name yet (Save script)";
    EXPECT_EQ(g_shown.reasons, (Texts{L"Saving your documents", L"Saving Notepad, 1 of 1", why}));
    EXPECT_EQ(g_shown.icons.back(), (CShownIcon{Red, L"A document could not be saved: " + why}));
    Tell(WM_ENDSESSION, FALSE);
    EXPECT_EQ(g_shown.reasons.back(), L"");
    EXPECT_EQ(g_shown.events, (std::vector<DWORD>{EVENT_VETOED, EVENT_SESSION_GOES_ON}));
}

TEST_F(WatchScreenTest, ACheckpointShowsNothing) {
    PutApps("save.vbs", Standby);
    StartNotepad();
    const CWatcher watcher(Options());
    Tell(WM_TIMER, 1);
    EXPECT_EQ(StoreCount(), 1u);
    EXPECT_EQ(g_shown.reasons, Texts{});
    EXPECT_TRUE(g_shown.icons.empty());
    EXPECT_EQ(g_shown.events, std::vector<DWORD>{EVENT_CHECKPOINT});
}
