#pragma once

// One of this program's own tests, run as another process:
//
//     TEST(WriterChild, DISABLED_WritesUntilItIsEnded) { ... }
//     CChildTest child(L"WriterChild.*");

#include "base/UniqueHandle.h"
#include "StartProcess.h"

#include <windows.h>

#include <stdexcept>
#include <string>

/// Runs without output; ended with the object at the latest.
class CChildTest {
public:
    explicit CChildTest(const std::wstring& filter) {
        wchar_t program[MAX_PATH];
        GetModuleFileNameW(nullptr, program, MAX_PATH);
        STARTUPINFOW startup{};
        startup.dwFlags = STARTF_USESTDHANDLES; // none: what it prints says nothing
        PROCESS_INFORMATION started{};
        if (!StartProcess(
                nullptr, L"\"" + std::wstring(program) + L"\" --gtest_also_run_disabled_tests --gtest_filter=" + filter,
                nullptr, false, startup, started))
            throw std::runtime_error("a child does not start, error " + std::to_string(GetLastError()));
        m_process.Reset(started.hProcess);
        const CUniqueHandle thread(started.hThread);
    }
    ~CChildTest() { Kill(); }

    CChildTest(const CChildTest&) = delete;
    CChildTest& operator=(const CChildTest&) = delete;

    void Kill() {
        TerminateProcess(m_process.Get(), 1);
        WaitForSingleObject(m_process.Get(), 60000);
    }

private:
    CUniqueHandle m_process;
};
