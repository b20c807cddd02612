#include "RunningApp.h"

#include "StartProcess.h"

#include <array>
#include <atomic>
#include <stdexcept>

namespace {
constexpr DWORD patience = 60'000; // milliseconds; reached only by an application that hangs

std::runtime_error SystemError(const char* call) {
    return std::runtime_error(std::string(call) + " failed, error " + std::to_string(GetLastError()));
}
} // namespace

std::wstring TestFolder() {
    std::array<wchar_t, MAX_PATH> path{};
    GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    const std::wstring program = path.data();
    return program.substr(0, program.rfind(L'\\'));
}

CRunningApp::CRunningApp(const std::vector<CAppWindow>& windows, const CRunningAppOptions& options) {
    static std::atomic<int> started = 0;
    const std::wstring parent = std::to_wstring(GetCurrentProcessId());
    const std::wstring name = L"QuorlineTestApp-" + parent + L"-" + std::to_wstring(++started);
    m_ready.Reset(CreateEventW(nullptr, TRUE, FALSE, (name + L"-ready").c_str()));
    m_quit.Reset(CreateEventW(nullptr, TRUE, FALSE, (name + L"-quit").c_str()));
    if (!m_ready || !m_quit)
        throw SystemError("CreateEvent");

    const std::wstring program = options.executable.empty() ? TestFolder() + L"\\TestApp.exe" : options.executable;
    std::wstring command = L"TestApp " + parent + L" " + name + L"-ready " + name + L"-quit";
    for (const CAppWindow& window : windows)
        command +=
            (window.visible ? L" visible \"" : L" hidden \"") + window.className + L"\" \"" + window.title + L"\"";

    STARTUPINFOW startup{};
    PROCESS_INFORMATION process{};
    if (!StartProcess(program.c_str(), command, options.attributes, false, startup, process))
        throw SystemError("CreateProcess");
    const CUniqueHandle thread(process.hThread);
    m_process.Reset(process.hProcess);
    m_id = process.dwProcessId;

    const std::array waits{m_ready.Get(), m_process.Get()};
    if (WaitForMultipleObjects(static_cast<DWORD>(waits.size()), waits.data(), FALSE, patience) != WAIT_OBJECT_0) {
        DWORD exitCode = 0;
        GetExitCodeProcess(m_process.Get(), &exitCode);
        TerminateProcess(m_process.Get(), 1);
        throw std::runtime_error("The test application did not come up, exit code " + std::to_string(exitCode));
    }
}

CRunningApp::~CRunningApp() {
    SetEvent(m_quit.Get());
    if (WaitForSingleObject(m_process.Get(), patience) != WAIT_OBJECT_0)
        TerminateProcess(m_process.Get(), 1);
}

CAppCopy::CAppCopy(std::wstring path) : m_path(std::move(path)) {
    if (!CopyFileW((TestFolder() + L"\\TestApp.exe").c_str(), m_path.c_str(), FALSE))
        throw SystemError("CopyFile");
}
