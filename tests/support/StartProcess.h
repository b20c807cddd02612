#pragma once

// Starts a program. A loaded machine now and then refuses for the moment, with error 1359: that is tried again, so that
// no test fails for it.

#include <windows.h>

#include <string>

/// As CreateProcessW; the command line is copied for each try.
inline bool StartProcess(const wchar_t* program, const std::wstring& commandLine, SECURITY_ATTRIBUTES* attributes,
                         bool inheritHandles, STARTUPINFOW& startup, PROCESS_INFORMATION& started) {
    constexpr int Tries = 20;
    constexpr DWORD Pause = 50; // milliseconds for the machine to come round, since nothing announces it
    startup.cb = sizeof(startup);
    for (int count = 1;; ++count) {
        std::wstring line = commandLine;
        if (CreateProcessW(program, line.data(), attributes, nullptr, inheritHandles, 0, nullptr, nullptr, &startup,
                           &started))
            return true;
        if (GetLastError() != ERROR_INTERNAL_ERROR || count == Tries)
            return false;
        Sleep(Pause);
    }
}

/// A program that needs nothing but its command line.
inline bool StartProcess(const std::wstring& commandLine, PROCESS_INFORMATION& started) {
    STARTUPINFOW startup{};
    return StartProcess(nullptr, commandLine, nullptr, false, startup, started);
}
