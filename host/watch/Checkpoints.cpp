#include "Checkpoints.h"

#include "StoreCatalog.h"
#include "base/FolderRemoval.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace {
std::vector<CSavedDocument> DocumentsOf(const std::vector<CSavedDocument>& all, const std::wstring& store) {
    std::vector<CSavedDocument> documents;
    std::copy_if(all.begin(), all.end(), std::back_inserter(documents),
                 [&](const CSavedDocument& document) { return document.store == store; });
    return documents;
}

bool HaveSameBytes(const std::wstring& left, const std::wstring& right) {
    std::error_code error;
    if (fs::file_size(left, error) != fs::file_size(right, error) || error)
        return false;
    std::ifstream first(fs::path(left), std::ios::binary);
    std::ifstream second(fs::path(right), std::ios::binary);
    std::array<char, 65536> a;
    std::array<char, 65536> b;
    while (first && second) {
        first.read(a.data(), a.size());
        second.read(b.data(), b.size());
        if (first.gcount() != second.gcount() || !std::equal(a.begin(), a.begin() + first.gcount(), b.begin()))
            return false;
    }
    return first.eof() && second.eof();
}

bool IsOlderThan(const std::wstring& store, std::chrono::seconds age) {
    std::error_code error;
    const auto written = fs::last_write_time(fs::path(StoresDirectory()) / store / L"info.xml", error);
    return !error && fs::file_time_type::clock::now() - written > age;
}

/// The documents come newest first, so whatever stands before one is newer.
bool IsSuperseded(const std::vector<CSavedDocument>& all, const std::wstring& store) {
    for (auto document = all.begin(); document != all.end(); ++document)
        if (document->store == store && !document->recovered &&
            std::none_of(all.begin(), document, [&](const CSavedDocument& newer) {
                return newer.store != store && newer.IsSameDocument(*document);
            }))
            return false;
    return true;
}
} // namespace

bool HoldSameDocuments(const std::vector<CSavedDocument>& all, const std::wstring& store, const std::wstring& other) {
    const auto documents = DocumentsOf(all, store);
    auto candidates = DocumentsOf(all, other);
    if (documents.size() != candidates.size())
        return false;
    // Several may have one name, such as none yet: any of them will do.
    for (const auto& document : documents) {
        const auto same = std::find_if(candidates.begin(), candidates.end(), [&](const CSavedDocument& candidate) {
            return candidate.IsSameDocument(document) && HaveSameBytes(candidate.copy, document.copy);
        });
        if (same == candidates.end())
            return false;
        candidates.erase(same);
    }
    return true;
}

std::vector<std::wstring> FindSuperseded(const std::vector<std::wstring>& checkpoints,
                                         const std::vector<CSavedDocument>& all, const CCheckpointRules& rules) {
    std::vector<std::wstring> superseded;
    for (std::size_t i = 0; i < checkpoints.size(); ++i) {
        const bool tooMany = checkpoints.size() - i > rules.count;
        if ((tooMany || IsOlderThan(checkpoints[i], rules.age)) && IsSuperseded(all, checkpoints[i]))
            superseded.push_back(checkpoints[i]);
    }
    return superseded;
}

bool RemoveStore(const std::wstring& store) {
    return RemoveFolder(StoresDirectory() + L"\\" + store);
}
