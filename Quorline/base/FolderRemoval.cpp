#include "base/FolderRemoval.h"

#include "base/PathHelper.h"
#include "base/UniqueHandle.h"

#include <vector>

namespace {
struct CFound {
    std::wstring path;
    bool folder;
};

/// Listed to the end before anything is removed, which would change the list.
std::vector<CFound> ListFolder(const std::wstring& path) {
    std::vector<CFound> all;
    WIN32_FIND_DATAW found{};
    const CUniqueFindHandle search(FindFirstFileW(JoinPath(path, L"*").c_str(), &found));
    if (!search)
        return all;
    do {
        const std::wstring name = found.cFileName;
        if (name != L"." && name != L"..")
            all.push_back({JoinPath(path, name), (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0});
    } while (FindNextFileW(search.Get(), &found));
    return all;
}

bool IsLink(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}
} // namespace

bool RemoveFolder(const std::wstring& path) {
    if (!IsLink(path))
        for (const CFound& found : ListFolder(path)) {
            if (found.folder)
                RemoveFolder(found.path);
            else
                DeleteFileW(found.path.c_str());
        }
    if (RemoveDirectoryW(path.c_str()))
        return true;
    const DWORD error = GetLastError();
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}
