#include "common/FileBytes.h"

#include "base/UniqueHandle.h"
#include "common/SignerErrors.h"

CBytes ReadFileBytes(const std::wstring& path) {
    const CUniqueHandle file(
        CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    LARGE_INTEGER size{};
    if (!file || !GetFileSizeEx(file.Get(), &size))
        ThrowLastError(L"cannot read '" + path + L"'");
    if (size.QuadPart > MAXLONG)
        throw CSignerError(HRESULT_FROM_WIN32(ERROR_FILE_TOO_LARGE), L"'" + path + L"' is too large");
    CBytes bytes(static_cast<std::size_t>(size.QuadPart));
    DWORD read = 0;
    if (!ReadFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr))
        ThrowLastError(L"cannot read '" + path + L"'");
    bytes.resize(read);
    return bytes;
}
