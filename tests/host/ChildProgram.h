#pragma once

// Runs a program to its end and keeps what it printed.

#include "Common/UniqueHandle.h"
#include "TempFolder.h"

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

struct CProgramResult {
    DWORD exitCode = 0;
    std::string out;
    std::string err;
};

/// The folder of the running program, where everything that is built stands.
inline std::wstring ProgramFolder() {
    wchar_t path[MAX_PATH];
    const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    return std::wstring(path, length).substr(0, std::wstring(path, length).find_last_of(L'\\'));
}

inline std::string ReadBytes(const std::wstring& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Ends the test with an exception when the program does not start or does not end within a minute.
inline CProgramResult RunProgram(std::wstring commandLine) {
    const CTempFolder folder;
    SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    const auto open = [&](const wchar_t* name) {
        return CUniqueHandle(CreateFileW((folder.Path() + name).c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited,
                                         CREATE_ALWAYS, 0, nullptr));
    };
    CUniqueHandle out = open(L"\\out");
    CUniqueHandle err = open(L"\\err");
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = out.Get();
    startup.hStdError = err.Get();
    PROCESS_INFORMATION started{};
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &started))
        throw std::runtime_error("a program could not be started, error " + std::to_string(GetLastError()));
    const CUniqueHandle process(started.hProcess);
    const CUniqueHandle thread(started.hThread);
    if (WaitForSingleObject(process.Get(), 60'000) != WAIT_OBJECT_0) {
        TerminateProcess(process.Get(), 99);
        throw std::runtime_error("a program did not end");
    }
    CProgramResult result;
    GetExitCodeProcess(process.Get(), &result.exitCode);
    out.Reset();
    err.Reset();
    result.out = ReadBytes(folder.Path() + L"\\out");
    result.err = ReadBytes(folder.Path() + L"\\err");
    return result;
}

/// quorline.exe with these arguments, as they stand on its command line.
inline CProgramResult RunQuorline(const std::wstring& arguments) {
    return RunProgram(L"\"" + ProgramFolder() + L"\\quorline.exe\" " + arguments);
}
