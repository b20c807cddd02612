#include "SavedCopyNames.h"

#include "base/PathHelper.h"
#include "base/UniqueHandle.h"
#include "InfoFileText.h"

#include <map>
#include <set>

namespace {
std::set<std::wstring> ListFiles(const std::wstring& directory) {
    std::set<std::wstring> paths;
    WIN32_FIND_DATAW found{};
    const CUniqueFindHandle search(FindFirstFileW(JoinPath(directory, L"*").c_str(), &found));
    if (search)
        do {
            if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
                paths.insert(JoinPath(directory, found.cFileName));
        } while (FindNextFileW(search.Get(), &found));
    return paths;
}
} // namespace

void FindSavedCopies(const std::wstring& directory, const std::vector<CInternalSavedDocument*>& records) {
    std::set<std::wstring> unclaimed = ListFiles(directory);
    std::multimap<std::wstring, std::wstring> misprinted;
    for (const auto& path : unclaimed)
        if (const std::wstring recorded = AsRecorded(path); recorded != path)
            misprinted.emplace(recorded, path);
    if (misprinted.empty())
        return;
    for (CInternalSavedDocument* document : records) {
        std::wstring path;
        document->GetDocTempPath(path);
        if (unclaimed.erase(path) != 0)
            continue;
        if (const auto meant = misprinted.find(path);
            meant != misprinted.end() && unclaimed.erase(meant->second) != 0) {
            document->SetDocTempPath(meant->second);
            misprinted.erase(meant);
        }
    }
}
