#pragma once

// The real registration of the library, through the system's own program, and what it leaves in the registry.

#include "base/UniqueHandle.h"
#include "StartProcess.h"

#include <windows.h>

#include <objbase.h>

#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

/// The library beside this program.
inline std::wstring LibraryPath() {
    wchar_t program[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    return std::filesystem::path(program).replace_filename(L"Quorline.dll").wstring();
}

/// Runs the system's registration program; its exit code.
inline DWORD RegSvr32(const std::wstring& arguments) {
    PROCESS_INFORMATION process{};
    if (!StartProcess(L"regsvr32.exe /s " + arguments + L" \"" + LibraryPath() + L"\"", process))
        throw std::runtime_error("regsvr32 does not start");
    const CUniqueHandle thread(process.hThread);
    const CUniqueHandle handle(process.hProcess);
    DWORD code = STILL_ACTIVE;
    if (WaitForSingleObject(handle.Get(), 60000) == WAIT_OBJECT_0)
        GetExitCodeProcess(handle.Get(), &code);
    return code;
}

/// Registered while it lives.
class CRegistered {
public:
    CRegistered() {
        if (RegSvr32(L"") != 0)
            throw std::runtime_error("the library was not registered");
    }
    ~CRegistered() { RegSvr32(L"/u"); }
    CRegistered(const CRegistered&) = delete;
    CRegistered& operator=(const CRegistered&) = delete;
};

/// Keys by their path below the class root, each with its values by name ("" is the default) as "type:text".
using CRegistryImage = std::map<std::wstring, std::map<std::wstring, std::wstring>>;

inline std::wstring ValueText(DWORD type, const std::vector<BYTE>& data) {
    std::wstring text = type == REG_SZ ? L"" : std::to_wstring(type) + L":";
    if (type == REG_SZ || type == REG_EXPAND_SZ) {
        text.append(reinterpret_cast<const wchar_t*>(data.data()), data.size() / sizeof(wchar_t));
        while (!text.empty() && text.back() == L'\0')
            text.pop_back();
    } else {
        for (const BYTE byte : data)
            text += std::to_wstring(byte) + L" ";
    }
    return text;
}

inline void ReadRegistry(HKEY root, const std::wstring& path, CRegistryImage& image) {
    CUniqueRegKey key;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, key.Put()) != ERROR_SUCCESS)
        return;
    auto& values = image[path];
    DWORD longestName = 0;
    DWORD longestData = 0;
    DWORD longestKey = 0;
    RegQueryInfoKeyW(key.Get(), nullptr, nullptr, nullptr, nullptr, &longestKey, nullptr, nullptr, &longestName,
                     &longestData, nullptr, nullptr);
    for (DWORD i = 0;; ++i) {
        std::wstring name(longestName + 1, L'\0');
        std::vector<BYTE> data(longestData);
        DWORD nameSize = static_cast<DWORD>(name.size());
        DWORD dataSize = longestData;
        DWORD type = REG_NONE;
        if (RegEnumValueW(key.Get(), i, name.data(), &nameSize, nullptr, &type, data.data(), &dataSize) != 0)
            break;
        name.resize(nameSize);
        data.resize(dataSize);
        values[name] = ValueText(type, data);
    }
    for (DWORD i = 0;; ++i) {
        std::wstring name(longestKey + 1, L'\0');
        DWORD size = static_cast<DWORD>(name.size());
        if (RegEnumKeyExW(key.Get(), i, name.data(), &size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            break;
        name.resize(size);
        ReadRegistry(root, path.empty() ? name : path + L"\\" + name, image);
    }
}

/// All classes of the machine, or those below one key.
inline CRegistryImage ReadClasses(const std::wstring& below = L"") {
    CRegistryImage image;
    ReadRegistry(HKEY_CLASSES_ROOT, below, image);
    return image;
}
