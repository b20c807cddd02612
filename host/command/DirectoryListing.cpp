#include "DirectoryListing.h"

#include "base/PathHelper.h"
#include "base/Text.h"
#include "base/UniqueHandle.h"

#include <algorithm>

std::vector<CListedFile> ListDirectory(const std::wstring& directory) {
    std::vector<CListedFile> files;
    WIN32_FIND_DATAW found{};
    const CUniqueFindHandle search(FindFirstFileW(JoinPath(directory, L"*").c_str(), &found));
    if (!search)
        return files;
    do {
        const std::wstring name = found.cFileName;
        if (name != L"." && name != L"..")
            files.push_back({name, (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0});
    } while (FindNextFileW(search.Get(), &found));
    return files;
}

bool Holds(const std::vector<CListedFile>& files, const wchar_t* name) {
    return std::ranges::any_of(files, [&](const CListedFile& file) { return SameName(file.name, name); });
}
