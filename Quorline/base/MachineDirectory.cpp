#include "base/MachineDirectory.h"

#include "base/UniqueHandle.h"

#include <sddl.h>

namespace {
// Owned by the administrators, since an owner can change the rights. Nothing is inherited; what is made inside
// inherits.
constexpr const wchar_t* Rights = L"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1200a9;;;BU)";

/// In full, without a backslash at its end; empty for no path.
std::wstring Normalise(const std::wstring& path) {
    wchar_t full[MAX_PATH];
    const DWORD length = path.empty() ? 0 : GetFullPathNameW(path.c_str(), MAX_PATH, full, nullptr);
    std::wstring result = length == 0 || length >= MAX_PATH ? path : std::wstring(full, length);
    while (result.ends_with(L'\\'))
        result.pop_back();
    return result;
}
} // namespace

bool IsDirectoryBelow(const std::wstring& path, const std::wstring& folder) {
    const std::wstring inner = Normalise(path);
    const std::wstring outer = Normalise(folder);
    const int length = static_cast<int>(outer.size());
    return length != 0 && inner.size() >= outer.size() &&
           CompareStringOrdinal(inner.c_str(), length, outer.c_str(), length, TRUE) == CSTR_EQUAL &&
           (inner.size() == outer.size() || inner[outer.size()] == L'\\');
}

bool MakeMachineDirectory(const std::wstring& path) noexcept {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(Rights, SDDL_REVISION_1, &descriptor, nullptr))
        return false;
    const CUniqueLocalMemory<void> owner(descriptor);
    SECURITY_ATTRIBUTES attributes{sizeof(SECURITY_ATTRIBUTES), descriptor, FALSE};
    return CreateDirectoryW(path.c_str(), &attributes) != FALSE;
}
