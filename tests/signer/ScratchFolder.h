#pragma once

// A folder for one test's files, removed with all that is in it.

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

class CScratchFolder {
public:
    CScratchFolder() {
        static long count = 0;
        m_path = std::filesystem::temp_directory_path() / (L"signer-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
                                                           std::to_wstring(InterlockedIncrement(&count)));
        std::filesystem::create_directories(m_path);
    }
    CScratchFolder(const CScratchFolder&) = delete;
    CScratchFolder& operator=(const CScratchFolder&) = delete;
    ~CScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    std::wstring Path(const std::wstring& name) const { return (m_path / name).wstring(); }
    std::wstring Write(const std::wstring& name, const std::string& bytes) const {
        std::ofstream file(m_path / name, std::ios::binary | std::ios::trunc);
        file << bytes;
        return Path(name);
    }
    std::string Read(const std::wstring& name) const {
        std::ifstream file(m_path / name, std::ios::binary);
        std::ostringstream bytes;
        bytes << file.rdbuf();
        return bytes.str();
    }
    std::size_t Count() const {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(m_path), std::filesystem::directory_iterator()));
    }

private:
    std::filesystem::path m_path;
};
