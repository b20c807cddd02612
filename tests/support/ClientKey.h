#pragma once

// The client's settings in the registry for the life of the object: none but those that a test puts there. What was
// there before comes back.

#include <windows.h>

#include <string>

class CClientKey {
public:
    CClientKey() { RegRenameAside(true); }
    ~CClientKey() {
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, Root);
        RegRenameAside(false);
    }
    CClientKey(const CClientKey&) = delete;
    CClientKey& operator=(const CClientKey&) = delete;

    static void Put(const std::wstring& key, const std::wstring& name, const std::wstring& value, DWORD type = REG_SZ) {
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, (std::wstring(Root) + L"\\" + key).c_str(), name.c_str(), type,
                        value.c_str(), static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
    }
    static void Put(const std::wstring& key, const std::wstring& name, DWORD value) {
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, (std::wstring(Root) + L"\\" + key).c_str(), name.c_str(), REG_DWORD, &value,
                        sizeof(value));
    }

private:
    static constexpr const wchar_t* Root = L"Software\\Morvane";
    static constexpr const wchar_t* Aside = L"Software\\Morvane kept by a test";

    static void RegRenameAside(bool away) {
        const wchar_t* from = away ? Root : Aside;
        const wchar_t* to = away ? Aside : Root;
        HKEY source = nullptr;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, from, 0, KEY_READ, &source) != ERROR_SUCCESS)
            return;
        HKEY target = nullptr;
        RegCreateKeyExW(HKEY_LOCAL_MACHINE, to, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &target, nullptr);
        RegCopyTreeW(source, nullptr, target);
        RegCloseKey(source);
        RegCloseKey(target);
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, from);
    }
};
