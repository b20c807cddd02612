// Prints who owns a file or folder, and who may do what with it, as a security descriptor in text: print-rights PATH

#include "base/UniqueHandle.h"

#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include <cstdio>

int wmain(int count, wchar_t** arguments) {
    if (count != 2)
        return 2;
    constexpr SECURITY_INFORMATION what = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const DWORD error =
        GetNamedSecurityInfoW(arguments[1], SE_FILE_OBJECT, what, nullptr, nullptr, nullptr, nullptr, &descriptor);
    const CUniqueLocalMemory<void> owner(descriptor);
    wchar_t* text = nullptr;
    if (error != ERROR_SUCCESS ||
        !ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor, SDDL_REVISION_1, what, &text, nullptr))
        return 1;
    const CUniqueLocalMemory<wchar_t> ownerOfText(text);
    std::printf("%ls\n", text);
    return 0;
}
