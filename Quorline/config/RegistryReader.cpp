#include "config/RegistryReader.h"

namespace {
constexpr DWORD LongestString = 261;
}

CRegistryReader::CRegistryReader(const std::wstring& path) {
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, m_key.Put());
}

bool CRegistryReader::ReadString(const wchar_t* name, std::wstring& value) const {
    wchar_t buffer[LongestString + 1];
    DWORD size = sizeof(buffer);
    if (!m_key || RegGetValueW(m_key.Get(), nullptr, name, RRF_RT_REG_SZ, nullptr, buffer, &size) != ERROR_SUCCESS)
        return false;
    value = buffer;
    return true;
}

bool CRegistryReader::ReadDword(const std::wstring& name, unsigned long& value) const {
    DWORD read = 0;
    DWORD size = sizeof(read);
    if (!m_key ||
        RegGetValueW(m_key.Get(), nullptr, name.c_str(), RRF_RT_REG_DWORD, nullptr, &read, &size) != ERROR_SUCCESS)
        return false;
    value = read;
    return true;
}
