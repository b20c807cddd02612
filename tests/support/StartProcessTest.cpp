// Proves StartProcess.h, and that a program that crashes under test ends at once.

#include "StartProcess.h"

#include "base/UniqueHandle.h"
#include "ImportHook.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {
int g_refusals = 0;
DWORD g_refusal = ERROR_INTERNAL_ERROR;
int g_calls = 0;

/// The system's own, after some refusals.
WINBOOL WINAPI RefusingCreateProcess(LPCWSTR program, LPWSTR line, LPSECURITY_ATTRIBUTES process,
                                     LPSECURITY_ATTRIBUTES thread, WINBOOL inherit, DWORD flags, LPVOID environment,
                                     LPCWSTR directory, LPSTARTUPINFOW startup, LPPROCESS_INFORMATION started) {
    ++g_calls;
    if (g_refusals > 0) {
        --g_refusals;
        line[0] = L'?'; // the system may write into it
        SetLastError(g_refusal);
        return FALSE;
    }
    static const auto system = reinterpret_cast<decltype(&CreateProcessW)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "CreateProcessW")));
    return system(program, line, process, thread, inherit, flags, environment, directory, startup, started);
}

/// Waits for the program; its exit code.
DWORD CodeOf(const PROCESS_INFORMATION& started) {
    const CUniqueHandle thread(started.hThread);
    const CUniqueHandle process(started.hProcess);
    DWORD code = STILL_ACTIVE;
    if (WaitForSingleObject(process.Get(), 60'000) == WAIT_OBJECT_0)
        GetExitCodeProcess(process.Get(), &code);
    else
        TerminateProcess(process.Get(), 1);
    return code;
}

class StartProcessTest : public testing::Test {
protected:
    static bool Start(int refusals, DWORD refusal, PROCESS_INFORMATION& started) {
        const CImportHook hook(GetModuleHandleW(nullptr), "CreateProcessW", &RefusingCreateProcess);
        g_refusals = refusals;
        g_refusal = refusal;
        g_calls = 0;
        return StartProcess(L"cmd.exe /c exit 7", started);
    }
};
} // namespace

TEST_F(StartProcessTest, AMomentaryRefusalIsTriedAgain) {
    PROCESS_INFORMATION started{};
    ASSERT_TRUE(Start(3, ERROR_INTERNAL_ERROR, started));
    EXPECT_EQ(g_calls, 4);
    EXPECT_EQ(CodeOf(started), 7u);
}

TEST_F(StartProcessTest, AnyOtherRefusalStands) {
    PROCESS_INFORMATION started{};
    EXPECT_FALSE(Start(1, ERROR_FILE_NOT_FOUND, started));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(g_calls, 1);
}

TEST_F(StartProcessTest, ARefusalThatLastsIsReportedInTheEnd) {
    PROCESS_INFORMATION started{};
    EXPECT_FALSE(Start(1000, ERROR_INTERNAL_ERROR, started));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INTERNAL_ERROR));
    EXPECT_EQ(g_calls, 20);
}

TEST(CrashChild, DISABLED_ReadsWhereNothingIs) {
    // Not a null pointer, whose reading a checked build would end in another way.
    volatile std::uintptr_t nowhere = 16;
    RecordProperty("Read", *reinterpret_cast<const volatile char*>(nowhere));
}

TEST(Crash, OfAProgramUnderTestEndsItAtOnceWithoutADebugger) {
    wchar_t program[MAX_PATH];
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    PROCESS_INFORMATION started{};
    ASSERT_TRUE(StartProcess(L"\"" + std::wstring(program) +
                                 L"\" --gtest_also_run_disabled_tests --gtest_catch_exceptions=0 "
                                 L"--gtest_filter=CrashChild.*",
                             started));
    EXPECT_EQ(CodeOf(started), static_cast<DWORD>(STATUS_ACCESS_VIOLATION));
}
