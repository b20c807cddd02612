// Proves who a thread is, and that it is itself again: security/Impersonation, Impersonator.

#include "security/Impersonation.h"
#include "security/Impersonator.h"

#include "base/Exceptions.h"

#include "ImportHook.h"
#include "LogLines.h"
#include "ProcessUse.h"
#include "SecurityTestSupport.h"

#include <gtest/gtest.h>

#define SECURITY_WIN32
#include <security.h>

#include <array>
#include <atomic>
#include <bit>
#include <string>
#include <thread>
#include <vector>

namespace {
CImpersonation& Impersonation() {
    return CImpersonation::Instance();
}

const CTexts OneImpersonation{
    L"DEBUG Entering -> [CImpersonation::ImpersonateProcessOwner]",
    L"DEBUG Leaving  -> [CImpersonation::ImpersonateProcessOwner]",
};
const CTexts OneReturn{
    L"DEBUG Entering -> [CImpersonation::Unimpersonate]",
    L"DEBUG Leaving  -> [CImpersonation::Unimpersonate]",
};

std::wstring OwnName() {
    std::array<wchar_t, 1024> name{};
    ULONG length = static_cast<ULONG>(name.size());
    GetUserNameExW(NameSamCompatible, name.data(), &length);
    return name.data();
}
} // namespace

TEST(Impersonation, RunsTheThreadAsTheOwnerUntilItReturns) {
    const CLogLines log;
    EXPECT_FALSE(IsThreadImpersonating());
    EXPECT_TRUE(Impersonation().ImpersonateProcessOwner(GetCurrentProcess()));
    EXPECT_TRUE(IsThreadImpersonating());
    EXPECT_EQ(OneImpersonation, log.Of(L"Trace.CImpersonation"));
    Impersonation().Unimpersonate();
    EXPECT_FALSE(IsThreadImpersonating());
    CTexts both = OneImpersonation;
    both.insert(both.end(), OneReturn.begin(), OneReturn.end());
    EXPECT_EQ(both, log.Of(L"Trace.CImpersonation"));
    EXPECT_EQ(CTexts{}, log.Of(L"SecHelp.CImpersonation"));
}

TEST(Impersonation, TheOwnersTokenHasTheShutdownPrivilege) {
    ASSERT_TRUE(Impersonation().ImpersonateProcessOwner(GetCurrentProcess()));
    EXPECT_TRUE(HasPrivilege(ThreadToken().Get(), SE_SHUTDOWN_NAME));
    Impersonation().Unimpersonate();
}

TEST(Impersonation, AFailedPrivilegeDoesNotStopIt) {
    const CImportHook failing(
        Program(), "AdjustTokenPrivileges", +[](HANDLE, WINBOOL, PTOKEN_PRIVILEGES, DWORD, PTOKEN_PRIVILEGES, PDWORD) {
            SetLastError(ERROR_ACCESS_DENIED);
            return FALSE;
        });
    EXPECT_TRUE(Impersonation().ImpersonateProcessOwner(GetCurrentProcess()));
    EXPECT_TRUE(IsThreadImpersonating());
    Impersonation().Unimpersonate();
}

TEST(Impersonation, ASecondOneOnTheThreadIsRefusedAndLeavesTheFirst) {
    ASSERT_TRUE(Impersonation().ImpersonateProcessOwner(GetCurrentProcess()));
    EXPECT_FALSE(Impersonation().ImpersonateProcessOwner(GetCurrentProcess()));
    EXPECT_TRUE(IsThreadImpersonating());
    Impersonation().Unimpersonate();
    EXPECT_FALSE(IsThreadImpersonating());
    EXPECT_TRUE(Impersonation().ImpersonateProcessOwner(GetCurrentProcess()));
    Impersonation().Unimpersonate();
    EXPECT_FALSE(IsThreadImpersonating());
}

TEST(Impersonation, AProcessOutOfReachIsRefusedAndTheNextOneWorks) {
    const CUniqueHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    for (const HANDLE process : {HANDLE{nullptr}, event.Get()})
        EXPECT_FALSE(Impersonation().ImpersonateProcessOwner(process));
    EXPECT_FALSE(IsThreadImpersonating());
    EXPECT_TRUE(Impersonation().ImpersonateProcessOwner(GetCurrentProcess()));
    Impersonation().Unimpersonate();
}

TEST(Impersonation, ARefusedTokenIsClosedAndDoesNotCount) {
    const DWORD before = HandlesInUse();
    {
        const CImportHook failing(
            Program(), "ImpersonateLoggedOnUser", +[](HANDLE) { return FALSE; });
        EXPECT_FALSE(Impersonation().ImpersonateProcessOwner(GetCurrentProcess()));
    }
    EXPECT_EQ(before, HandlesInUse());
    EXPECT_FALSE(IsThreadImpersonating());
    EXPECT_TRUE(Impersonation().ImpersonateProcessOwner(GetCurrentProcess()));
    Impersonation().Unimpersonate();
}

TEST(Impersonation, ReturningOnAThreadThatNeverImpersonatedDoesNothing) {
    OnNewThread([] {
        const CLogLines log;
        Impersonation().Unimpersonate();
        Impersonation().Unimpersonate();
        EXPECT_FALSE(IsThreadImpersonating());
        CTexts twice = OneReturn;
        twice.insert(twice.end(), OneReturn.begin(), OneReturn.end());
        EXPECT_EQ(twice, log.Texts());
    });
}

TEST(Impersonation, TheHostsOwnImpersonationIsLeftAlone) {
    ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
    Impersonation().Unimpersonate();
    EXPECT_TRUE(IsThreadImpersonating());
    EXPECT_TRUE(RevertToSelf());
}

TEST(Impersonation, AFailedReturnIsReported) {
    ASSERT_TRUE(Impersonation().ImpersonateProcessOwner(GetCurrentProcess()));
    const CLogLines log;
    {
        const CImportHook failing(
            Program(), "RevertToSelf", +[] { return FALSE; });
        Impersonation().Unimpersonate();
    }
    EXPECT_EQ((CTexts{L"ERROR Unimpersonate -> Failed to revert to self!"}), log.Of(L"SecHelp.CImpersonation"));
    EXPECT_TRUE(IsThreadImpersonating());
    EXPECT_TRUE(RevertToSelf());
}

TEST(Impersonation, ThreadsDoNotDisturbEachOther) {
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (int number = 0; number < 8; ++number)
        threads.emplace_back([&wrong, number] {
            for (int count = 0; count < 250; ++count) {
                // Every other thread is refused each time and must never look impersonated.
                const bool expected = number % 2 == 0;
                const HANDLE process = expected ? GetCurrentProcess() : nullptr;
                if (Impersonation().ImpersonateProcessOwner(process) != expected)
                    ++wrong;
                if (Impersonation().ImpersonateProcessOwner(nullptr) || IsThreadImpersonating() != expected)
                    ++wrong;
                Impersonation().Unimpersonate();
                if (IsThreadImpersonating())
                    ++wrong;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(0, wrong);
}

TEST(Impersonation, ManyThreadsOneAfterTheOtherEachStartUnimpersonated) {
    for (int count = 0; count < 50; ++count)
        OnNewThread([] {
            EXPECT_TRUE(Impersonation().ImpersonateProcessOwner(GetCurrentProcess()));
            Impersonation().Unimpersonate();
        });
}

TEST(Impersonation, AThousandCyclesLeaveNoHandleOpen) {
    { const CImpersonator once(GetCurrentProcess(), true); }
    const DWORD before = HandlesInUse();
    for (int count = 0; count < 1000; ++count)
        const CImpersonator impersonator(GetCurrentProcess(), true);
    EXPECT_EQ(before, HandlesInUse());
}

TEST(Impersonator, KnowsTheOwnerAndReturnsAtItsEnd) {
    const CLogLines log;
    {
        const CImpersonator impersonator(GetCurrentProcess(), true);
        EXPECT_TRUE(impersonator.IsImpersonating());
        EXPECT_TRUE(IsThreadImpersonating());
        EXPECT_EQ(OwnSidText(), impersonator.GetOwnerSid());
        EXPECT_EQ(OwnName(), impersonator.GetUserName());
        EXPECT_NE(std::wstring::npos, impersonator.GetUserName().find(L'\\'));
        EXPECT_EQ((CTexts{L"DEBUG Successfully referenced active user " + OwnName() + L"."}),
                  log.Of(L"SecHelp.CImpersonation"));
    }
    EXPECT_FALSE(IsThreadImpersonating());
    EXPECT_EQ((CTexts{L"DEBUG Successfully referenced active user " + OwnName() + L".",
                      L"DEBUG Removed reference to active user."}),
              log.Of(L"SecHelp.CImpersonation"));
}

TEST(Impersonator, AnOwnerWithoutANameIsStillImpersonated) {
    const CLogLines log;
    {
        using GetName = BOOLEAN WINAPI(EXTENDED_NAME_FORMAT, LPWSTR, PULONG);
        static GetName* const noName = [](EXTENDED_NAME_FORMAT, LPWSTR, PULONG) { return BOOLEAN{FALSE}; };
        const CImportHook failing(
            Program(), "GetProcAddress", +[](HMODULE, LPCSTR) { return std::bit_cast<FARPROC>(noName); });
        const CImpersonator impersonator(GetCurrentProcess(), true);
        EXPECT_TRUE(IsThreadImpersonating());
        EXPECT_EQ(L"", impersonator.GetUserName());
        EXPECT_EQ(OwnSidText(), impersonator.GetOwnerSid());
    }
    EXPECT_EQ((CTexts{L"DEBUG Successfully referenced active user.", L"DEBUG Removed reference to active user."}),
              log.Of(L"SecHelp.CImpersonation"));
}

TEST(Impersonator, MustSucceedRaisesWithItsMessageAndPlace) {
    const CLogLines log;
    try {
        const CImpersonator impersonator(nullptr, true);
        FAIL() << "nothing was raised";
    } catch (const CMorvaneException& exception) {
        EXPECT_STREQ("CMorvaneException", exception.what());
    }
    EXPECT_EQ((CTexts{L"ERROR Failed sanity test \"Failed to impersonate process owner!\"; tested at "
                      L"Impersonator; line 26; CImpersonator::CImpersonator"}),
              log.Of(L"TalvinorGlobal"));
    EXPECT_EQ(CTexts{}, log.Of(L"SecHelp.CImpersonation"));
    EXPECT_FALSE(IsThreadImpersonating());
}

TEST(Impersonator, WithoutMustSucceedAFailureIsSilent) {
    const CLogLines log;
    {
        const CImpersonator impersonator(nullptr, false);
        EXPECT_FALSE(impersonator.IsImpersonating());
        EXPECT_EQ(L"", impersonator.GetUserName());
        EXPECT_EQ(L"", impersonator.GetOwnerSid());
    }
    EXPECT_EQ(OneImpersonation, log.Texts());
}

TEST(Impersonator, AnInnerOneNeitherImpersonatesNorReturns) {
    const CImpersonator outer(GetCurrentProcess(), true);
    {
        const CImpersonator inner(GetCurrentProcess(), false);
        EXPECT_FALSE(inner.IsImpersonating());
        EXPECT_THROW(CImpersonator(GetCurrentProcess(), true), CMorvaneException);
    }
    EXPECT_TRUE(IsThreadImpersonating());
}
