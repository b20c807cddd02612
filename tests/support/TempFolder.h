#pragma once

// A fresh folder that is removed, with all in it, at the end.

#include <windows.h>

#include <filesystem>
#include <string>

class CTempFolder {
public:
    CTempFolder() {
        static long count = 0;
        const std::wstring process = std::to_wstring(GetCurrentProcessId());
        // One that an earlier process of this number has left may be in use yet; then the next is taken.
        do
            m_path = (std::filesystem::temp_directory_path() /
                      (L"quorline-" + process + L"-" + std::to_wstring(InterlockedIncrement(&count))))
                         .wstring();
        while (!std::filesystem::create_directories(m_path));
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
