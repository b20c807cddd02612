#pragma once

// A key of the registry that takes nothing for the life of the object, as it takes nothing from a user who is no
// administrator.

#include "base/UniqueHandle.h"

#include <sddl.h>

#include <stdexcept>
#include <string>
#include <vector>

class CDeniedKey {
public:
    CDeniedKey(HKEY root, const std::wstring& path) {
        DWORD size = 0;
        if (RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, READ_CONTROL | WRITE_DAC, nullptr, m_key.Put(),
                            nullptr) != ERROR_SUCCESS)
            throw std::runtime_error("the key cannot be opened");
        RegGetKeySecurity(m_key.Get(), DACL_SECURITY_INFORMATION, nullptr, &size);
        m_before.resize(size);
        RegGetKeySecurity(m_key.Get(), DACL_SECURITY_INFORMATION, m_before.data(), &size);
        // Neither values nor keys below, for nobody.
        PSECURITY_DESCRIPTOR denied = nullptr;
        ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:(D;;0x10006;;;WD)(A;;KA;;;WD)", SDDL_REVISION_1,
                                                             &denied, nullptr);
        const CUniqueLocalMemory<void> owner(denied);
        if (RegSetKeySecurity(m_key.Get(), DACL_SECURITY_INFORMATION, denied) != ERROR_SUCCESS)
            throw std::runtime_error("the key's rights cannot be changed");
    }
    ~CDeniedKey() { RegSetKeySecurity(m_key.Get(), DACL_SECURITY_INFORMATION, m_before.data()); }

    CDeniedKey(const CDeniedKey&) = delete;
    CDeniedKey& operator=(const CDeniedKey&) = delete;

private:
    CUniqueRegKey m_key;
    std::vector<BYTE> m_before;
};
