#pragma once

// A text in the registry for the life of the object.

#include "base/UniqueHandle.h"

#include <string>

class CRegistryValue {
public:
    CRegistryValue(HKEY root, const std::wstring& key, const std::wstring& name, const std::wstring& text)
        : m_name(name) {
        RegCreateKeyExW(root, key.c_str(), 0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr, m_key.Put(), nullptr);
        RegSetValueExW(m_key.Get(), m_name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                       static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    }
    ~CRegistryValue() { RegDeleteValueW(m_key.Get(), m_name.c_str()); }

    CRegistryValue(const CRegistryValue&) = delete;
    CRegistryValue& operator=(const CRegistryValue&) = delete;

private:
    CUniqueRegKey m_key;
    std::wstring m_name;
};
