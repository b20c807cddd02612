#pragma once

// What the tests of the security helpers ask the system.

#include "base/UniqueHandle.h"

#include <windows.h>
#include <sddl.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

/// The SID of the user that runs the test, as the system writes it.
inline std::wstring OwnSidText() {
    CUniqueHandle token;
    DWORD size = 0;
    OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Put());
    GetTokenInformation(token.Get(), TokenUser, nullptr, 0, &size);
    std::vector<BYTE> user(size);
    GetTokenInformation(token.Get(), TokenUser, user.data(), size, &size);
    wchar_t* text = nullptr;
    ConvertSidToStringSidW(reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid, &text);
    const CUniqueLocalMemory<wchar_t> owner(text);
    return text ? text : L"";
}

/// Whether the privilege is enabled in the token.
inline bool HasPrivilege(HANDLE token, const wchar_t* name) {
    PRIVILEGE_SET set{};
    set.PrivilegeCount = 1;
    LookupPrivilegeValueW(nullptr, name, &set.Privilege[0].Luid);
    DWORD size = 0;
    GetTokenInformation(token, TokenPrivileges, nullptr, 0, &size);
    std::vector<BYTE> information(size);
    GetTokenInformation(token, TokenPrivileges, information.data(), size, &size);
    const auto* held = reinterpret_cast<const TOKEN_PRIVILEGES*>(information.data());
    for (DWORD index = 0; index < held->PrivilegeCount; ++index) {
        const LUID_AND_ATTRIBUTES& entry = held->Privileges[index];
        if (entry.Luid.LowPart == set.Privilege[0].Luid.LowPart &&
            entry.Luid.HighPart == set.Privilege[0].Luid.HighPart)
            return (entry.Attributes & SE_PRIVILEGE_ENABLED) != 0;
    }
    return false;
}

/// The token that the calling thread impersonates with, empty if none.
inline CUniqueHandle ThreadToken() {
    CUniqueHandle token;
    OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.Put());
    return token;
}

inline bool IsThreadImpersonating() {
    return static_cast<bool>(ThreadToken());
}

/// Whose system calls the tests let fail.
inline HMODULE Program() {
    return GetModuleHandleW(nullptr);
}

template <class Function> void OnNewThread(Function function) {
    std::thread(function).join();
}
