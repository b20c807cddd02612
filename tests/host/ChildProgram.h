#pragma once

// Runs a program to its end and keeps what it printed.

#include "Common/UniqueHandle.h"
#include "StartProcess.h"
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

/// A program that was started and is not waited for yet. Ended with the object.
class CProgram {
public:
    /// Throws std::runtime_error when the program does not start.
    explicit CProgram(const std::wstring& commandLine) {
        SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
        const auto open = [&](const wchar_t* name) {
            return CUniqueHandle(CreateFileW((m_folder.Path() + name).c_str(), GENERIC_WRITE,
                                             FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited, CREATE_ALWAYS, 0,
                                             nullptr));
        };
        const CUniqueHandle out = open(L"\\out");
        const CUniqueHandle err = open(L"\\err");
        STARTUPINFOW startup{};
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdOutput = out.Get();
        startup.hStdError = err.Get();
        PROCESS_INFORMATION started{};
        if (!StartProcess(nullptr, commandLine, nullptr, true, startup, started))
            throw std::runtime_error("a program could not be started, error " + std::to_string(GetLastError()));
        m_process.Reset(started.hProcess);
        CloseHandle(started.hThread);
    }
    ~CProgram() {
        if (WaitForSingleObject(m_process.Get(), 0) != WAIT_OBJECT_0)
            Kill();
    }

    CProgram(const CProgram&) = delete;
    CProgram& operator=(const CProgram&) = delete;

    HANDLE Process() const { return m_process.Get(); }

    /// Ends it as another process would, and returns when it is gone.
    void Kill() {
        TerminateProcess(m_process.Get(), 99);
        WaitForSingleObject(m_process.Get(), 60'000);
    }

    /// What it has printed so far, and its exit code once it has ended. Throws std::runtime_error when it does not end
    /// within two minutes.
    CProgramResult Wait() {
        if (WaitForSingleObject(m_process.Get(), 120'000) != WAIT_OBJECT_0)
            throw std::runtime_error("a program did not end; it printed: " + Printed());
        CProgramResult result;
        GetExitCodeProcess(m_process.Get(), &result.exitCode);
        result.out = Printed();
        result.err = ReadBytes(m_folder.Path() + L"\\err");
        return result;
    }

    std::string Printed() const { return ReadBytes(m_folder.Path() + L"\\out"); }

private:
    const CTempFolder m_folder;
    CUniqueHandle m_process;
};

/// Ends the test with an exception when the program does not start or does not end.
inline CProgramResult RunProgram(const std::wstring& commandLine) {
    return CProgram(commandLine).Wait();
}

/// quorline.exe with these arguments, as they stand on its command line.
inline std::wstring QuorlineCommand(const std::wstring& arguments) {
    return L"\"" + ProgramFolder() + L"\\quorline.exe\" " + arguments;
}
inline CProgramResult RunQuorline(const std::wstring& arguments) {
    return RunProgram(QuorlineCommand(arguments));
}
