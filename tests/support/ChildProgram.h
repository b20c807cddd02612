#pragma once

// Runs a program to its end and keeps what it printed.

#include "base/UniqueHandle.h"
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

/// False when the file is not there, or not gone, within a minute; told by the system, so that nobody asks in turns.
inline bool WaitUntil(const std::filesystem::path& path, bool there) {
    const HANDLE change = FindFirstChangeNotificationW(path.parent_path().c_str(), FALSE,
                                                       FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_DIR_NAME);
    bool is = std::filesystem::exists(path) == there;
    while (!is && WaitForSingleObject(change, 60'000) == WAIT_OBJECT_0) {
        is = std::filesystem::exists(path) == there;
        FindNextChangeNotification(change);
    }
    FindCloseChangeNotification(change);
    return is;
}
inline bool WaitForFile(const std::filesystem::path& path) {
    return WaitUntil(path, true);
}

/// Starts a program with these ends of its output. Throws std::runtime_error when it does not start.
inline CUniqueHandle StartProgram(const std::wstring& commandLine, HANDLE out, HANDLE err) {
    STARTUPINFOW startup{};
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = out;
    startup.hStdError = err;
    PROCESS_INFORMATION started{};
    if (!StartProcess(nullptr, commandLine, nullptr, true, startup, started))
        throw std::runtime_error("a program could not be started, error " + std::to_string(GetLastError()));
    CloseHandle(started.hThread);
    return CUniqueHandle(started.hProcess);
}

/// Throws std::runtime_error when it does not end within two minutes.
inline DWORD WaitForEnd(HANDLE process) {
    if (WaitForSingleObject(process, 120'000) != WAIT_OBJECT_0) {
        TerminateProcess(process, 99);
        throw std::runtime_error("a program did not end");
    }
    DWORD exitCode = 0;
    GetExitCodeProcess(process, &exitCode);
    return exitCode;
}

/// A program that is not waited for yet. Ended with the object.
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
        m_process = StartProgram(commandLine, out.Get(), err.Get());
    }
    ~CProgram() { Kill(); }

    CProgram(const CProgram&) = delete;
    CProgram& operator=(const CProgram&) = delete;

    HANDLE Process() const { return m_process.Get(); }

    /// Ends it as another process would, and returns when it is gone.
    void Kill() {
        TerminateProcess(m_process.Get(), 99);
        WaitForSingleObject(m_process.Get(), 60'000);
    }

    CProgramResult Wait() {
        CProgramResult result;
        result.exitCode = WaitForEnd(m_process.Get());
        result.out = ReadBytes(m_folder.Path() + L"\\out");
        result.err = ReadBytes(m_folder.Path() + L"\\err");
        return result;
    }

private:
    const CTempFolder m_folder;
    CUniqueHandle m_process;
};

/// A program whose output is read from a pipe while it runs.
class CPipedProgram {
public:
    explicit CPipedProgram(const std::wstring& commandLine) {
        SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
        CUniqueHandle end;
        if (!CreatePipe(m_pipe.Put(), end.Put(), &inherited, 0))
            throw std::runtime_error("no pipe");
        SetHandleInformation(m_pipe.Get(), HANDLE_FLAG_INHERIT, 0);
        m_process = StartProgram(commandLine, end.Get(), end.Get());
    }

    /// Reads on until this has come; false when the output ends before.
    bool ReadUntil(const std::string& text) {
        while (m_read.find(text) == std::string::npos)
            if (!ReadOn())
                return false;
        return true;
    }

    /// All that it prints until it ends.
    const std::string& ReadToEnd() {
        while (ReadOn()) {
        }
        return m_read;
    }

    HANDLE Process() const { return m_process.Get(); }
    DWORD Wait() { return WaitForEnd(m_process.Get()); }

    /// Ends it as another process would, and returns when it is gone.
    void Kill() {
        TerminateProcess(m_process.Get(), 99);
        WaitForSingleObject(m_process.Get(), 60'000);
    }

private:
    bool ReadOn() {
        char block[512];
        DWORD count = 0;
        if (!ReadFile(m_pipe.Get(), block, sizeof block, &count, nullptr) || count == 0)
            return false;
        m_read.append(block, count);
        return true;
    }

    CUniqueHandle m_pipe;
    CUniqueHandle m_process;
    std::string m_read;
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
