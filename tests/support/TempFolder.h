#pragma once

// A fresh folder that is removed, with all in it, at the end.

#include "base/FolderRemoval.h"

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>
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
    ~CTempFolder() { RemoveFolder(m_path); }
    CTempFolder(const CTempFolder&) = delete;
    CTempFolder& operator=(const CTempFolder&) = delete;

    /// Without a trailing backslash.
    const std::wstring& Path() const { return m_path; }
    /// Of a file in it, which need not exist.
    std::wstring Path(const std::wstring& name) const { return m_path + L"\\" + name; }

    /// Returns the file's path.
    std::wstring Write(const std::wstring& name, const std::string& bytes) const {
        std::ofstream(std::filesystem::path(Path(name)), std::ios::binary | std::ios::trunc) << bytes;
        return Path(name);
    }
    std::string Read(const std::wstring& name) const {
        std::ifstream file(std::filesystem::path(Path(name)), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    std::size_t Count() const {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(m_path), std::filesystem::directory_iterator()));
    }

private:
    std::wstring m_path;
};
