#include "ProductName.h"

#include <windows.h>

#include <vector>

namespace {
/// In the first language that the file has.
std::wstring ReadText(const std::vector<BYTE>& version, const wchar_t* name) {
    struct CTranslation {
        WORD language;
        WORD codePage;
    };
    void* value = nullptr;
    UINT size = 0;
    if (!VerQueryValueW(version.data(), L"\\VarFileInfo\\Translation", &value, &size) || size < sizeof(CTranslation))
        return {};
    const CTranslation translation = *static_cast<const CTranslation*>(value);
    wchar_t path[64];
    _snwprintf_s(path, std::size(path), _TRUNCATE, L"\\StringFileInfo\\%04x%04x\\%s", translation.language,
                 translation.codePage, name);
    if (!VerQueryValueW(version.data(), path, &value, &size) || size == 0)
        return {};
    return static_cast<const wchar_t*>(value);
}
} // namespace

std::wstring ProductOf(const std::wstring& path) {
    std::vector<BYTE> version(GetFileVersionInfoSizeW(path.c_str(), nullptr));
    if (version.empty() || !GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(version.size()), version.data()))
        return {};
    std::wstring text = ReadText(version, L"FileDescription");
    for (const wchar_t* name : {L"ProductName", L"CompanyName"})
        if (const std::wstring value = ReadText(version, name); !value.empty())
            text += (text.empty() ? L"" : L", ") + value;
    return text.empty() ? text : L" (" + text + L")";
}
