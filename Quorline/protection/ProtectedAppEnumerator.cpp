#include "protection/ProtectedAppEnumerator.h"

#include "base/UniqueHandle.h"
#include "protection/ProtectedAppMatcher.h"
#include "logging/ClassLog.h"
#include "logging/TraceScope.h"
#include "base/UpperCase.h"
#include "security/Impersonator.h"
#include "security/SecurityUtils.h"

#include <psapi.h>
#include <winnetwk.h>

#include <array>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace {
/// The interactive desktop for the length of a scope.
class CDesktopScope {
public:
    CDesktopScope() { CSecurityUtils::Instance().EnsureDesktop(m_handles); }
    ~CDesktopScope() { CSecurityUtils::Instance().RevertDesktop(m_handles); }

    CDesktopScope(const CDesktopScope&) = delete;
    CDesktopScope& operator=(const CDesktopScope&) = delete;

private:
    CDesktopHandles m_handles;
};
} // namespace

QUORLINE_CLASS_LOG(CProtectedAppEnumerator, L"ApplicationProtection.CProtectedAppEnumerator")

std::set<unsigned long> CProtectedAppEnumerator::GetProtectedApps(IProtectedAppMatcher* matcher) {
    const CTraceScope trace(L"CProtectedAppEnumerator::GetProtectedApps");
    std::set<unsigned long> found;
    m_knownProcesses.clear();
    m_knownDrives.clear();
    EnumerateWindows();
    EnumerateProcesses();
    Log(log4cxx::Level::getInfo(),
        L"GetProtectedApps -> Protecting only specified applications, searching for applications to protect");

    Log(log4cxx::Level::getDebug(), L"GetProtectedApps -> Searching for windows to protect...");
    for (const CWindowInfo& window : m_windows) {
        if (!matcher->IsMatchingWindow(window))
            continue;
        Log(log4cxx::Level::getInfo(),
            L"GetProtectedApps -> Found an open application to protect with window title '{0:%s}' and class '{1:%s}'",
            window.m_title.c_str(), window.m_className.c_str());
        found.insert(window.m_processId);
    }

    Log(log4cxx::Level::getDebug(), L"GetProtectedApps -> Searching for processes to protect...");
    for (const CProcessInfo& process : m_processes) {
        if (!matcher->IsMatchingProcess(process))
            continue;
        Log(log4cxx::Level::getInfo(),
            process.m_network ? L"GetProtectedApps -> Found an open network application '{0:%s}' to protect"
                              : L"GetProtectedApps -> Found an open application to protect with process '{0:%s}'",
            process.m_imageName.c_str());
        found.insert(process.m_processId);
    }

    m_windows.clear();
    m_processes.clear();
    if (found.empty())
        Log(log4cxx::Level::getInfo(), L"GetProtectedApps -> No protected applications were found");
    else
        Log(log4cxx::Level::getInfo(), L"GetProtectedApps -> Found {0:%lu} protected apps running",
            static_cast<unsigned long>(found.size()));
    return found;
}

void CProtectedAppEnumerator::EnumerateWindows() {
    const CTraceScope trace(L"CProtectedAppEnumerator::EnumerateWindows");
    const CDesktopScope interactive;
    m_windows.clear();
    const BOOL complete = EnumWindows(&WindowCallback, reinterpret_cast<LPARAM>(this));
    const DWORD error = GetLastError();
    if (m_callbackFailure)
        std::rethrow_exception(std::exchange(m_callbackFailure, nullptr));
    if (!complete)
        Log(log4cxx::Level::getError(), L"EnumerateWindows -> EnumWindows() failed, error = {0:%ld}\n", error);
}

BOOL CALLBACK CProtectedAppEnumerator::WindowCallback(HWND window, LPARAM enumerator) noexcept {
    auto* const self = reinterpret_cast<CProtectedAppEnumerator*>(enumerator);
    if (!self || !window)
        return FALSE;
    try {
        self->AddWindow(window);
        return TRUE;
    } catch (...) {
        self->m_callbackFailure = std::current_exception();
        return FALSE;
    }
}

void CProtectedAppEnumerator::AddWindow(HWND window) {
    if (!IsWindowVisible(window))
        return;
    CWindowInfo info;
    DWORD error = ERROR_SUCCESS;
    std::array<wchar_t, 512> text{};

    // Neither call resets the last error, and 0 must mean that the title is merely empty.
    SetLastError(ERROR_SUCCESS);
    if (GetWindowTextW(window, text.data(), static_cast<int>(text.size())) > 0)
        info.m_title = ToUpperCase(text.data());
    else
        error = GetLastError();

    SetLastError(ERROR_SUCCESS);
    if (GetClassNameW(window, text.data(), static_cast<int>(text.size())) > 0)
        info.m_className = ToUpperCase(text.data());
    else {
        error = GetLastError();
        Log(log4cxx::Level::getWarn(), L"GetClassName() failed for window 0x{0:%08x}, error = {1:%ld}",
            static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(window)), error);
    }
    if (error != ERROR_SUCCESS)
        return;

    GetWindowThreadProcessId(window, &info.m_processId);
    if (info.m_processId != 0)
        info.m_network = GetProcessInfo(info.m_processId).m_network;
    m_windows.push_back(std::move(info));
}

void CProtectedAppEnumerator::EnumerateProcesses() {
    const CTraceScope trace(L"CProtectedAppEnumerator::EnumerateProcesses");
    constexpr std::size_t step = 16;
    std::vector<DWORD> identifiers;
    DWORD returned = 0;
    DWORD size = 0;
    do {
        // A buffer that comes back full may have cut the list.
        identifiers.assign(identifiers.size() + step, 0);
        size = static_cast<DWORD>(identifiers.size() * sizeof(DWORD));
        if (!EnumProcesses(identifiers.data(), size, &returned)) {
            Log(log4cxx::Level::getError(), L"EnumerateProcessesNT -> EnumProcesses() failed, error = {0:%lu}",
                GetLastError());
            return;
        }
    } while (returned == size);

    identifiers.resize(returned / sizeof(DWORD));
    for (const DWORD pid : identifiers) {
        if (pid == 0)
            continue;
        CProcessInfo info = GetProcessInfo(pid);
        if (info.m_processId != 0)
            m_processes.push_back(std::move(info));
    }
}

CProcessInfo CProtectedAppEnumerator::GetProcessInfo(unsigned long pid) {
    if (const auto known = m_knownProcesses.find(pid); known != m_knownProcesses.end())
        return known->second;
    CProcessInfo info = AskProcess(pid);
    // One that could not be asked is asked again, and reported each time.
    if (info.m_processId != 0)
        m_knownProcesses.emplace(pid, info);
    return info;
}

CProcessInfo CProtectedAppEnumerator::AskProcess(unsigned long pid) {
    CProcessInfo info;
    if (pid == 0)
        return info;
    const CUniqueHandle process(OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, pid));
    if (!process) {
        Log(log4cxx::Level::getWarn(),
            L"GetProcessInfo -> OpenProcess() returned bad handle for pid {0:%lu}, error = {1:%lu}", pid,
            GetLastError());
        return info;
    }
    std::array<wchar_t, 2048> buffer{};
    if (GetModuleFileNameExW(process.Get(), nullptr, buffer.data(), static_cast<DWORD>(buffer.size())) == 0)
        return info;
    buffer.back() = L'\0';
    const std::wstring path = ToUpperCase(buffer.data());
    info.m_network = IsNetworkPath(path.c_str(), process.Get());

    info.m_imageName = path.substr(path.find_last_of(L"\\/:") + 1);
    info.m_processId = pid;
    return info;
}

bool CProtectedAppEnumerator::IsNetworkPath(const wchar_t* path, HANDLE process) {
    const std::size_t length = path ? wcslen(path) : 0;
    if (length < 2)
        return false;
    if (path[0] == L'\\' && path[1] == L'\\')
        return true;
    if (length >= 3 && path[2] != L'\\')
        return false;
    // The answer is that of the process's owner, unless everybody is asked about as the calling user.
    const std::wstring drive(path, 2);
    if (m_callerIsUser == 0)
        return IsNetworkDrive(drive, process);
    const auto known = m_knownDrives.find(drive);
    return known != m_knownDrives.end() ? known->second
                                        : m_knownDrives.emplace(drive, IsNetworkDrive(drive, process)).first->second;
}

bool CProtectedAppEnumerator::IsNetworkDrive(const std::wstring& drive, HANDLE process) const {
    // Drive mappings belong to the owner's logon session.
    std::optional<CImpersonator> owner;
    if (m_callerIsUser == 0)
        owner.emplace(process, false);
    // The drive has a remote name exactly when no buffer is too small for it.
    std::array<wchar_t, 1> noBuffer{};
    DWORD noLength = 0;
    return WNetGetConnectionW(drive.c_str(), noBuffer.data(), &noLength) == ERROR_MORE_DATA;
}
