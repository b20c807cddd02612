#pragma once

// Starts TestApp.exe (or a copy of it) and ends it with the scope:
//
//     const CRunningApp app({{true, L"QlEditor", L"Letter"}});
//
// The windows are there when the constructor returns; it throws std::runtime_error when they do not come up.

#include "base/UniqueHandle.h"

#include <windows.h>

#include <string>
#include <vector>

struct CAppWindow {
    bool visible = true;
    std::wstring className;
    std::wstring title;
};

struct CRunningAppOptions {
    std::wstring executable;                   ///< TestApp.exe beside the test when empty
    SECURITY_ATTRIBUTES* attributes = nullptr; ///< of the process object
};

class CRunningApp {
public:
    explicit CRunningApp(const std::vector<CAppWindow>& windows = {}, const CRunningAppOptions& options = {});
    ~CRunningApp();

    CRunningApp(const CRunningApp&) = delete;
    CRunningApp& operator=(const CRunningApp&) = delete;

    DWORD Id() const { return m_id; }
    HANDLE Process() const { return m_process.Get(); }

private:
    CUniqueHandle m_ready;
    CUniqueHandle m_quit;
    CUniqueHandle m_process;
    DWORD m_id = 0;
};

/// The folder of the running test, without a backslash at its end.
std::wstring TestFolder();

/// A copy of TestApp.exe under another name, deleted with the scope.
class CAppCopy {
public:
    explicit CAppCopy(std::wstring path);
    ~CAppCopy() { DeleteFileW(m_path.c_str()); }

    CAppCopy(const CAppCopy&) = delete;
    CAppCopy& operator=(const CAppCopy&) = delete;

    const std::wstring& Path() const { return m_path; }

private:
    std::wstring m_path;
};
