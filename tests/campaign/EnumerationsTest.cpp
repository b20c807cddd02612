// Searches for protected applications and impersonations on eight threads at once: each finds what is there, and each
// thread and the process are left as they were. Proves protection/ProtectedAppEnumerator, security/Impersonation and
// SecurityUtils.

#include "CountTable.h"
#include "ProcessUse.h"
#include "RandomRounds.h"
#include "RunningApp.h"
#include "ScriptExecution/DocumentScript.h"
#include "SecurityTestSupport.h"
#include "Tally.h"
#include "protection/ProtectedAppEnumerator.h"
#include "security/Impersonator.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <barrier>
#include <set>
#include <thread>

namespace {
constexpr unsigned Threads = 8;
const wchar_t* const StationName = L"QuorlineCampaignStation";

std::wstring NameOf(HANDLE userObject) {
    std::array<wchar_t, 256> name{};
    DWORD size = 0;
    GetUserObjectInformationW(userObject, UOI_NAME, name.data(), sizeof(name), &size);
    return name.data();
}

struct CTally {
    std::atomic<unsigned long long> searches{0};
    std::atomic<unsigned long long> impersonations{0};
    std::atomic<unsigned long long> refusals{0};
    std::atomic<unsigned long long> wrong{0};
};

/// One thread's share, from a desktop of its own on the other station.
void Work(CTally& tally, const CRunningApp& app, std::barrier<>& ready, unsigned long long count, unsigned seed) {
    const HDESK desktop = CreateDesktopW(L"QuorlineCampaignDesk", nullptr, nullptr, 0, GENERIC_ALL, nullptr);
    SetThreadDesktop(desktop);
    CDocumentScript script;
    script.AddWindowTitle(L"CAMPAIGN LETTER");
    const std::set<unsigned long> expected{app.Id()};
    std::mt19937 random(seed);
    const auto expect = [&](bool right) { tally.wrong += right ? 0 : 1; };
    ready.arrive_and_wait();
    for (unsigned long long i = 0; i < count; ++i) {
        switch (random() % 4) {
        case 0: { // asks for drives as each process's owner
            expect(CProtectedAppEnumerator(0).GetProtectedApps(&script) == expected);
            ++tally.searches;
            break;
        }
        case 1: {
            expect(script.GetProtectedProcIDs() == expected);
            ++tally.searches;
            break;
        }
        case 2: {
            const CImpersonator owner(app.Process(), false);
            expect(owner.IsImpersonating() && IsThreadImpersonating() && owner.GetOwnerSid() == OwnSidText());
            expect(!CImpersonator(app.Process(), false).IsImpersonating());
            ++tally.impersonations;
            break;
        }
        default: {
            expect(!CImpersonator(nullptr, false).IsImpersonating());
            ++tally.refusals;
            break;
        }
        }
        expect(!IsThreadImpersonating());
        expect(GetThreadDesktop(GetCurrentThreadId()) == desktop);
    }
    ready.arrive_and_wait();
}
} // namespace

TEST(Enumerations, OnEightThreadsFindWhatIsThereAndLeaveNothingChanged) {
    const CRandomRounds rounds(25);
    const CRunningApp app({{true, L"QlCampaign", L"Campaign Letter"}});
    const HWINSTA before = GetProcessWindowStation();
    const HWINSTA station = CreateWindowStationW(StationName, 0, WINSTA_ALL_ACCESS, nullptr);
    ASSERT_TRUE(SetProcessWindowStation(station));
    CTally tally;
    // Twice, since what only the first round takes is no leak.
    DWORD handles = 0;
    for (int half = 0; half < 2; ++half) {
        handles = HandlesInUse();
        std::barrier ready(Threads);
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < Threads; ++i)
            threads.emplace_back([&, i] { Work(tally, app, ready, rounds.count, rounds.seed + 16 * i + half); });
        for (std::thread& thread : threads)
            thread.join();
    }
    const DWORD handlesAfter = HandlesInUse();
    EXPECT_EQ(GetProcessWindowStation(), station)
        << "it is " << std::string(NameOf(GetProcessWindowStation()).size(), '?');
    SetProcessWindowStation(before);
    CloseWindowStation(station);

    CCountTable table({"count"});
    table["searches"] = {tally.searches};
    table["impersonations"] = {tally.impersonations};
    table["refused impersonations"] = {tally.refusals};
    table.Print();
    std::printf("handles %lu, then %lu\n", handles, handlesAfter);
    PrintTally("rounds of eight threads that search and impersonate", rounds.count);
    EXPECT_EQ(tally.wrong, 0u);
    EXPECT_LE(handlesAfter, handles + 16) << "more than the locks that threads met at";
}
