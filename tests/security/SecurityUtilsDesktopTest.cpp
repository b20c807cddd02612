// The switch to the interactive desktop and back, by one thread and by several at once. Proves the switch in
// security/SecurityUtils.

#include "security/SecurityUtils.h"

#include "base/UniqueHandle.h"

#include "ImportHook.h"
#include "LogLines.h"
#include "ProcessUse.h"
#include "SecurityTestSupport.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <barrier>
#include <string>
#include <thread>
#include <vector>

namespace {
CSecurityUtils& Utils() {
    return CSecurityUtils::Instance();
}

std::wstring NameOf(HANDLE userObject) {
    std::array<wchar_t, 256> name{};
    DWORD size = 0;
    GetUserObjectInformationW(userObject, UOI_NAME, name.data(), sizeof(name), &size);
    return name.data();
}
} // namespace

TEST(DesktopSwitch, SwitchesToTheInteractiveDesktopAndBack) {
    const HWINSTA stationBefore = GetProcessWindowStation();
    // The thread is new: one that has windows must stay on its desktop.
    OnNewThread([&] {
        const HWINSTA station = CreateWindowStationW(L"QuorlineSecurityTest", 0, WINSTA_ALL_ACCESS, nullptr);
        ASSERT_TRUE(station);
        ASSERT_TRUE(SetProcessWindowStation(station));
        const HDESK desktop = CreateDesktopW(L"QuorlineSecurityDesk", nullptr, nullptr, 0, GENERIC_ALL, nullptr);
        ASSERT_TRUE(desktop);
        const HDESK desktopBefore = GetThreadDesktop(GetCurrentThreadId());
        ASSERT_TRUE(SetThreadDesktop(desktop));

        CDesktopHandles handles;
        Utils().EnsureDesktop(handles);
        EXPECT_EQ(L"WinSta0", NameOf(GetProcessWindowStation()));
        EXPECT_EQ(L"Default", NameOf(GetThreadDesktop(GetCurrentThreadId())));
        EXPECT_EQ(station, handles.savedStation);
        EXPECT_EQ(desktop, handles.savedDesktop);
        const HWINSTA openedStation = handles.openedStation;
        const HDESK openedDesktop = handles.openedDesktop;
        EXPECT_EQ(openedStation, GetProcessWindowStation());
        EXPECT_EQ(openedDesktop, GetThreadDesktop(GetCurrentThreadId()));

        Utils().RevertDesktop(handles);
        EXPECT_EQ(L"QuorlineSecurityTest", NameOf(GetProcessWindowStation()));
        EXPECT_EQ(L"QuorlineSecurityDesk", NameOf(GetThreadDesktop(GetCurrentThreadId())));
        EXPECT_EQ(L"", NameOf(openedStation));
        EXPECT_EQ(L"", NameOf(openedDesktop));

        EXPECT_TRUE(SetProcessWindowStation(stationBefore));
        EXPECT_TRUE(SetThreadDesktop(desktopBefore));
        EXPECT_TRUE(CloseDesktop(desktop));
        EXPECT_TRUE(CloseWindowStation(station));
    });
    EXPECT_EQ(stationBefore, GetProcessWindowStation());
}

namespace {
/// Another window station for the process, and a desktop there for the thread that makes it.
class COtherStation {
public:
    COtherStation() {
        station = CreateWindowStationW(L"QuorlineOverlapTest", 0, WINSTA_ALL_ACCESS, nullptr);
        EXPECT_TRUE(SetProcessWindowStation(station));
        desktop = EnterDesktop();
    }
    ~COtherStation() {
        EXPECT_TRUE(SetProcessWindowStation(m_stationBefore));
        EXPECT_TRUE(SetThreadDesktop(m_desktopBefore));
        EXPECT_TRUE(CloseDesktop(desktop));
        EXPECT_TRUE(CloseWindowStation(station));
    }
    COtherStation(const COtherStation&) = delete;
    COtherStation& operator=(const COtherStation&) = delete;

    /// Puts another thread on the desktop, too, by a handle of its own, which ends with the thread.
    static HDESK EnterDesktop() {
        const HDESK entered = CreateDesktopW(L"QuorlineOverlapDesk", nullptr, nullptr, 0, GENERIC_ALL, nullptr);
        EXPECT_TRUE(SetThreadDesktop(entered));
        return entered;
    }

    HWINSTA station = nullptr;
    HDESK desktop = nullptr;

private:
    HWINSTA m_stationBefore = GetProcessWindowStation();
    HDESK m_desktopBefore = GetThreadDesktop(GetCurrentThreadId());
};

/// A thread with a desktop of its own that switches to the interactive one, and back, when it is told to.
class CSwitchingThread {
public:
    CSwitchingThread() : m_thread([this] { Run(); }) { Await(m_done); }
    ~CSwitchingThread() { m_thread.join(); }
    CSwitchingThread(const CSwitchingThread&) = delete;
    CSwitchingThread& operator=(const CSwitchingThread&) = delete;

    void Enter() { Step(); }
    void Leave() { Step(); }

private:
    void Run() {
        const HDESK own = COtherStation::EnterDesktop();
        CDesktopHandles handles;
        SetEvent(m_done.Get());
        Await(m_go);
        Utils().EnsureDesktop(handles);
        EXPECT_EQ(L"Default", NameOf(GetThreadDesktop(GetCurrentThreadId())));
        SetEvent(m_done.Get());
        Await(m_go);
        Utils().RevertDesktop(handles);
        EXPECT_EQ(own, GetThreadDesktop(GetCurrentThreadId()));
        SetEvent(m_done.Get());
    }
    void Step() {
        SetEvent(m_go.Get());
        Await(m_done);
    }
    static void Await(const CUniqueHandle& event) {
        EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(event.Get(), 60'000));
    }

    CUniqueHandle m_go{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    CUniqueHandle m_done{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    std::thread m_thread;
};
} // namespace

// The system assigns a desktop only while the process is on the desktop's own station.
TEST(DesktopSwitch, TheFirstInThatLeavesFirstGetsItsDesktopBackAndLeavesTheStationToTheOther) {
    OnNewThread([] {
        const COtherStation other;
        CSwitchingThread second;
        CDesktopHandles handles;
        Utils().EnsureDesktop(handles);
        second.Enter();
        EXPECT_EQ(other.station, handles.savedStation);
        Utils().RevertDesktop(handles);
        EXPECT_EQ(other.desktop, GetThreadDesktop(GetCurrentThreadId()));
        EXPECT_EQ(L"WinSta0", NameOf(GetProcessWindowStation()));
        second.Leave();
        EXPECT_EQ(other.station, GetProcessWindowStation());
    });
}

TEST(DesktopSwitch, TheLastInThatLeavesFirstLeavesTheStationToTheOther) {
    OnNewThread([] {
        const COtherStation other;
        CSwitchingThread second;
        CDesktopHandles handles;
        Utils().EnsureDesktop(handles);
        second.Enter();
        second.Leave();
        EXPECT_EQ(L"WinSta0", NameOf(GetProcessWindowStation()));
        EXPECT_EQ(L"Default", NameOf(GetThreadDesktop(GetCurrentThreadId())));
        Utils().RevertDesktop(handles);
        EXPECT_EQ(other.desktop, GetThreadDesktop(GetCurrentThreadId()));
        EXPECT_EQ(other.station, GetProcessWindowStation());
    });
}

TEST(DesktopSwitch, ASwitchWithinASwitchRestoresWhatItFound) {
    OnNewThread([] {
        const COtherStation other;
        CDesktopHandles outer;
        CDesktopHandles inner;
        Utils().EnsureDesktop(outer);
        Utils().EnsureDesktop(inner);
        EXPECT_EQ(outer.openedDesktop, inner.savedDesktop);
        Utils().RevertDesktop(inner);
        EXPECT_EQ(outer.openedDesktop, GetThreadDesktop(GetCurrentThreadId()));
        EXPECT_EQ(L"WinSta0", NameOf(GetProcessWindowStation()));
        Utils().RevertDesktop(outer);
        EXPECT_EQ(other.desktop, GetThreadDesktop(GetCurrentThreadId()));
        EXPECT_EQ(other.station, GetProcessWindowStation());
    });
}

TEST(DesktopSwitch, ManyThreadsThatSwitchAtOnceLeaveTheProcessWhereItWas) {
    OnNewThread([] {
        const COtherStation other;
        constexpr int Threads = 8;
        std::atomic<int> wrong = 0;
        std::barrier ready(Threads + 1);
        std::vector<std::thread> threads;
        for (int number = 0; number < Threads; ++number)
            threads.emplace_back([&] {
                const HDESK own = COtherStation::EnterDesktop();
                ready.arrive_and_wait();
                for (int count = 0; count < 100; ++count) {
                    CDesktopHandles handles;
                    Utils().EnsureDesktop(handles);
                    if (NameOf(GetThreadDesktop(GetCurrentThreadId())) != L"Default")
                        ++wrong;
                    Utils().RevertDesktop(handles);
                    if (GetThreadDesktop(GetCurrentThreadId()) != own)
                        ++wrong;
                }
                ready.arrive_and_wait();
                ready.arrive_and_wait();
            });
        ready.arrive_and_wait();
        const DWORD before = HandlesInUse();
        ready.arrive_and_wait();
        const DWORD after = HandlesInUse();
        ready.arrive_and_wait();
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(0, wrong);
        EXPECT_EQ(other.station, GetProcessWindowStation());
        EXPECT_LE(after, before + 3 * Threads) << "more than the handles of those who are switched and of the locks";
    });
}

TEST(DesktopSwitch, RevertingWithoutEnsuringChangesNothing) {
    const CLogLines log;
    const HWINSTA station = GetProcessWindowStation();
    const HDESK desktop = GetThreadDesktop(GetCurrentThreadId());
    CDesktopHandles handles;
    Utils().RevertDesktop(handles);
    EXPECT_EQ(station, GetProcessWindowStation());
    EXPECT_EQ(desktop, GetThreadDesktop(GetCurrentThreadId()));
    EXPECT_EQ(CTexts{}, log.Of(L"SecUtils.SecurityUtils"));
}

TEST(DesktopSwitch, FailuresOfTheDesktopSwitchAreSilent) {
    const CLogLines log;
    CDesktopHandles handles;
    Utils().EnsureDesktop(handles); // what only a first one takes
    Utils().RevertDesktop(handles);
    {
        const CImportHook failing(
            Program(), "OpenWindowStationW", +[](LPCWSTR, WINBOOL, ACCESS_MASK) { return HWINSTA{}; });
        Utils().EnsureDesktop(handles);
        EXPECT_EQ(nullptr, handles.openedStation);
        EXPECT_EQ(nullptr, handles.openedDesktop);
        Utils().RevertDesktop(handles);
    }
    const DWORD before = HandlesInUse();
    {
        const HWINSTA station = GetProcessWindowStation();
        {
            const CImportHook failing(
                Program(), "GetProcessWindowStation", +[] { return HWINSTA{}; });
            Utils().EnsureDesktop(handles);
            EXPECT_EQ(nullptr, handles.openedStation) << "nothing could be given back";
            Utils().RevertDesktop(handles);
        }
        EXPECT_EQ(station, GetProcessWindowStation());
    }
    {
        const CImportHook failing(
            Program(), "SetProcessWindowStation", +[](HWINSTA) { return FALSE; });
        Utils().EnsureDesktop(handles);
        EXPECT_NE(nullptr, handles.openedStation);
        EXPECT_EQ(nullptr, handles.openedDesktop);
        Utils().RevertDesktop(handles);
    }
    {
        const CImportHook failing(
            Program(), "OpenDesktopW", +[](LPCWSTR, DWORD, WINBOOL, ACCESS_MASK) { return HDESK{}; });
        Utils().EnsureDesktop(handles);
        EXPECT_NE(nullptr, handles.openedStation);
        EXPECT_EQ(nullptr, handles.openedDesktop);
        Utils().RevertDesktop(handles);
    }
    EXPECT_EQ(before, HandlesInUse());
    EXPECT_EQ(CTexts{}, log.Of(L"SecUtils.SecurityUtils"));
    EXPECT_EQ(CTexts{}, log.Of(L"TalvinorGlobal"));
}
