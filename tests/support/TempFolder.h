#pragma once

// A fresh folder that is removed, with all in it, at the end.

#include <windows.h>

#include <filesystem>
#include <string>

class CTempFolder {
public:
    CTempFolder() {
        static long count = 0;
        m_path = (std::filesystem::temp_directory_path() / (L"quorline-" + std::to_wstring(GetCurrentProcessId()) +
                                                            L"-" + std::to_wstring(InterlockedIncrement(&count))))
                     .wstring();
        std::filesystem::remove_all(m_path);
        std::filesystem::create_directories(m_path);
    }
    ~CTempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    CTempFolder(const CTempFolder&) = delete;
    CTempFolder& operator=(const CTempFolder&) = delete;

    /// Without a trailing backslash.
    const std::wstring& Path() const { return m_path; }

private:
    std::wstring m_path;
};
