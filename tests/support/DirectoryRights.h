#pragma once

// Who may do what with a directory. Wine keeps of an access list what Unix rights can say: the owner's, the system's
// and those of everybody; it knows no owner but the user and no group of users.

#include "base/UniqueHandle.h"

#include <gtest/gtest.h>

#include <aclapi.h>
#include <sddl.h>

#include <map>
#include <string>
#include <vector>

inline std::wstring ToText(PSID sid) {
    wchar_t* text = nullptr;
    ConvertSidToStringSidW(sid, &text);
    const CUniqueLocalMemory<wchar_t> owner(text);
    return text;
}

inline const std::wstring System = L"S-1-5-18";
inline const std::wstring Administrators = L"S-1-5-32-544";
inline const std::wstring Users = L"S-1-5-32-545";
inline const std::wstring Everyone = L"S-1-1-0";

/// Who may do what, and whose it is.
struct CRights {
    std::wstring owner;
    std::map<std::wstring, DWORD> allowed;
    bool inherits = true;

    std::vector<std::wstring> Writers() const {
        std::vector<std::wstring> writers;
        for (const auto& [who, mask] : allowed)
            if ((mask & (FILE_ADD_FILE | FILE_ADD_SUBDIRECTORY | DELETE | WRITE_DAC | WRITE_OWNER)) != 0)
                writers.push_back(who);
        return writers;
    }
};

inline CRights RightsOf(PSECURITY_DESCRIPTOR descriptor) {
    CRights rights;
    PSID owner = nullptr;
    BOOL ignored = FALSE;
    BOOL present = FALSE;
    PACL list = nullptr;
    GetSecurityDescriptorOwner(descriptor, &owner, &ignored);
    GetSecurityDescriptorDacl(descriptor, &present, &list, &ignored);
    rights.owner = owner != nullptr ? ToText(owner) : L"";
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    GetSecurityDescriptorControl(descriptor, &control, &revision);
    rights.inherits = (control & SE_DACL_PROTECTED) == 0;
    for (DWORD i = 0; list != nullptr && i < list->AceCount; ++i) {
        void* entry = nullptr;
        GetAce(list, i, &entry);
        auto* const ace = static_cast<ACCESS_ALLOWED_ACE*>(entry);
        EXPECT_EQ(ace->Header.AceType, ACCESS_ALLOWED_ACE_TYPE);
        rights.allowed[ToText(&ace->SidStart)] |= ace->Mask;
    }
    return rights;
}

inline CRights RightsOf(const std::wstring& directory) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const DWORD error = GetNamedSecurityInfoW(const_cast<wchar_t*>(directory.c_str()), SE_FILE_OBJECT,
                                              OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, nullptr, nullptr,
                                              nullptr, nullptr, &descriptor);
    EXPECT_EQ(error, static_cast<DWORD>(ERROR_SUCCESS));
    const CUniqueLocalMemory<void> owner(descriptor);
    return RightsOf(descriptor);
}
