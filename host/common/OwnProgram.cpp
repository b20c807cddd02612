#include "OwnProgram.h"

#include "ExitCode.h"
#include "SystemText.h"
#include "base/UniqueHandle.h"

std::wstring OwnProgram() {
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

bool StartPatiently(const std::wstring& program, const std::wstring& commandLine, bool inheritHandles, DWORD flags,
                    STARTUPINFOW& startup, PROCESS_INFORMATION& started) {
    constexpr int Tries = 20;
    constexpr DWORD Pause = 50; // milliseconds, since nothing announces that it has come round
    // A caller without a console would else see one open for each process.
    const DWORD window = GetConsoleWindow() == nullptr ? CREATE_NO_WINDOW : 0;
    for (int count = 1;; ++count) {
        std::wstring line = commandLine;
        if (CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, inheritHandles, flags | window, nullptr,
                           nullptr, &startup, &started))
            return true;
        if (GetLastError() != ERROR_INTERNAL_ERROR || count == Tries)
            return false;
        Sleep(Pause);
    }
}

unsigned long RunOwnProgram(const std::wstring& arguments) {
    constexpr DWORD Longest = 30'000; // milliseconds
    const std::wstring program = OwnProgram();
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    if (!StartPatiently(program, QuoteArgument(program) + L" " + arguments, false, CREATE_NO_WINDOW, startup, started))
        throw CCommandError(ExitCode::Failed,
                            L"the program could not be started once more: " + DescribeCode(GetLastError()));
    const CUniqueHandle thread(started.hThread);
    const CUniqueHandle process(started.hProcess);
    if (WaitForSingleObject(process.Get(), Longest) != WAIT_OBJECT_0) {
        TerminateProcess(process.Get(), static_cast<UINT>(ExitCode::Failed));
        throw CCommandError(ExitCode::Failed, L"the program, started once more, did not end; try again.");
    }
    DWORD code = 0;
    GetExitCodeProcess(process.Get(), &code);
    return code;
}

std::wstring QuoteArgument(const std::wstring& argument) {
    // A backslash in front of the closing mark would hide it.
    return L"\"" + argument + (argument.ends_with(L'\\') ? L"\\\"" : L"\"");
}
