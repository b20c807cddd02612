#include "base/PathHelper.h"

std::wstring JoinPath(const std::wstring& first, const std::wstring& second) {
    if (first.empty() || second.empty())
        return first + second;
    const bool ends = first.ends_with(L'\\');
    const bool begins = second.starts_with(L'\\');
    if (ends && begins)
        return first.substr(0, first.size() - 1) + second;
    return ends || begins ? first + second : first + L'\\' + second;
}

std::wstring FullPath(const std::wstring& path) {
    wchar_t brief[MAX_PATH];
    const DWORD length = GetFullPathNameW(path.c_str(), MAX_PATH, brief, nullptr);
    if (length < MAX_PATH)
        return length == 0 ? path : std::wstring(brief, length);
    std::wstring full(length, L'\0'); // with room for the zero, when it did not fit
    full.resize(GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
    return full.empty() ? path : full;
}

DWORD GetCanonicalPath(const std::wstring& path, std::wstring& canonical) {
    wchar_t full[MAX_PATH];
    wchar_t shortForm[MAX_PATH];
    SetLastError(ERROR_INVALID_NAME); // not every system says so to a path without a name
    const DWORD fullLength = GetFullPathNameW(path.c_str(), MAX_PATH, full, nullptr);
    if (fullLength == 0)
        return GetLastError();
    // A result that does not fit is reported as the size that it needs, and sets no error.
    if (fullLength >= MAX_PATH)
        return ERROR_FILENAME_EXCED_RANGE;
    const DWORD shortLength = GetShortPathNameW(full, shortForm, MAX_PATH);
    if (shortLength == 0)
        return GetLastError();
    if (shortLength >= MAX_PATH)
        return ERROR_FILENAME_EXCED_RANGE;
    canonical.assign(shortForm, shortLength);
    return ERROR_SUCCESS;
}
