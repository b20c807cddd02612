#include "SavedCopyNames.h"

#include "base/PathHelper.h"
#include "InfoFileText.h"

#include <map>
#include <set>

void FindSavedCopies(const std::wstring& directory, const std::vector<CListedFile>& files,
                     const std::vector<CInternalSavedDocument*>& records) {
    std::set<std::wstring> unclaimed;
    for (const CListedFile& file : files)
        if (!file.isDirectory)
            unclaimed.insert(JoinPath(directory, file.name));
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
