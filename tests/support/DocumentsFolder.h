#pragma once

// Points the user's documents folder at a fresh scratch folder for the life of the object. The setting belongs to the
// whole prefix, so one program at a time has it: tests declare LOCK documents-folder, and a mutex guards what does not.

#include "base/FolderRemoval.h"
#include "base/UniqueHandle.h"

#include <windows.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

class CDocumentsFolder {
public:
    CDocumentsFolder() : m_mutex(CreateMutexW(nullptr, FALSE, L"QuorlineTestDocumentsFolder")) {
        WaitForSingleObject(m_mutex.Get(), INFINITE);
        static int count = 0;
        m_path = std::filesystem::temp_directory_path() /
                 (L"documents-" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++count));
        RemoveFolder(m_path.wstring());
        std::filesystem::create_directories(m_path);
        RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders",
                      0, KEY_READ | KEY_WRITE, m_key.Put());
        DWORD size = 0;
        RegQueryValueExW(m_key.Get(), L"Personal", nullptr, &m_oldType, nullptr, &size);
        m_old.resize(size);
        if (RegQueryValueExW(m_key.Get(), L"Personal", nullptr, &m_oldType, m_old.data(), &size) != ERROR_SUCCESS)
            throw std::runtime_error("no documents folder in the registry");
        Point(m_path);
    }
    ~CDocumentsFolder() {
        RegSetValueExW(m_key.Get(), L"Personal", 0, m_oldType, m_old.data(), static_cast<DWORD>(m_old.size()));
        ReleaseMutex(m_mutex.Get());
        RemoveFolder(L"\\\\?\\" + m_path.wstring()); // what a test put there may be too deep for a plain path
    }

    CDocumentsFolder(const CDocumentsFolder&) = delete;
    CDocumentsFolder& operator=(const CDocumentsFolder&) = delete;

    /// Without a trailing backslash.
    const std::filesystem::path& Path() const { return m_path; }
    std::filesystem::path Base() const { return m_path / L"Talvinor Saved Documents"; }

    /// Points the setting elsewhere until the object goes.
    void Point(const std::wstring& path) {
        RegSetValueExW(m_key.Get(), L"Personal", 0, REG_SZ, reinterpret_cast<const BYTE*>(path.c_str()),
                       static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t)));
    }

private:
    CUniqueHandle m_mutex;
    CUniqueRegKey m_key;
    std::filesystem::path m_path;
    std::vector<BYTE> m_old;
    DWORD m_oldType = REG_SZ;
};
