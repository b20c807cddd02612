#pragma once

// A small disk of the machine's own, which full-disk.sh mounts and names to a test program.

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

class CSmallDisk {
public:
    /// The one that this environment variable names.
    explicit CSmallDisk(const wchar_t* variable) {
        wchar_t value[MAX_PATH];
        m_path = std::wstring(value, GetEnvironmentVariableW(variable, value, MAX_PATH));
    }

    /// False where the machine gave none.
    bool IsMounted() const { return !m_path.empty(); }
    const std::filesystem::path& Path() const { return m_path; }

    void Clear() const {
        for (const auto& entry : std::filesystem::directory_iterator(m_path))
            std::filesystem::remove_all(entry.path());
    }

    /// Fills the disk, except for this room in bytes.
    void Fill(std::size_t room) const {
        if (!Save(m_path / L"room", room))
            throw std::runtime_error("the disk has less room than was to be left");
        std::ofstream ballast(Ballast(), std::ios::binary);
        const std::string block(1024, 'b');
        while (ballast.write(block.data(), static_cast<std::streamsize>(block.size())).flush())
            ;
        ballast.close();
        std::filesystem::remove(m_path / L"room");
    }

    void MakeRoom() const { std::filesystem::remove(Ballast()); }

    /// Saves what a script would; false when the disk does not take it.
    static bool Save(const std::filesystem::path& path, std::size_t size) {
        std::ofstream file(path, std::ios::binary);
        return static_cast<bool>(file.write(std::string(size, 's').data(), static_cast<std::streamsize>(size)).flush());
    }

private:
    std::filesystem::path Ballast() const { return m_path / L"ballast"; }

    std::filesystem::path m_path;
};
