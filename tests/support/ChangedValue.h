#pragma once

// Another text, or none, for a value of the registry that is there; for the life of the object.

#include "base/UniqueHandle.h"

#include <gtest/gtest.h>

#include <vector>

class CChangedValue {
public:
    CChangedValue(HKEY root, const wchar_t* key, const wchar_t* name, const wchar_t* text) : m_name(name) {
        RegOpenKeyExW(root, key, 0, KEY_READ | KEY_WRITE, m_key.Put());
        DWORD size = 0;
        RegQueryValueExW(m_key.Get(), name, nullptr, &m_type, nullptr, &size);
        m_old.resize(size);
        EXPECT_EQ(RegQueryValueExW(m_key.Get(), name, nullptr, &m_type, m_old.data(), &size), ERROR_SUCCESS) << key;
        if (text == nullptr)
            RegDeleteValueW(m_key.Get(), name);
        else
            RegSetKeyValueW(m_key.Get(), nullptr, name, REG_SZ, text,
                            static_cast<DWORD>((std::wcslen(text) + 1) * sizeof(wchar_t)));
    }
    ~CChangedValue() { RegSetValueExW(m_key.Get(), m_name, 0, m_type, m_old.data(), static_cast<DWORD>(m_old.size())); }
    CChangedValue(const CChangedValue&) = delete;
    CChangedValue& operator=(const CChangedValue&) = delete;

private:
    const wchar_t* m_name;
    CUniqueRegKey m_key;
    std::vector<BYTE> m_old;
    DWORD m_type = REG_SZ;
};
