#include "SavedDocuments.h"

#include "InternalSavedDocument.h"
#include "SavedCopy.h"
#include "StoreCatalog.h"

#include <algorithm>
#include <functional>
#include <tuple>

namespace {
std::wstring Text(const CInternalSavedDocument& document, void (CInternalSavedDocument::*get)(std::wstring&) const) {
    std::wstring value;
    (document.*get)(value);
    return value;
}

CSavedDocument Describe(const CInternalSavedDocument& document, const std::wstring& store) {
    CSavedDocument described{Text(document, &CInternalSavedDocument::GetAppFriendlyName),
                             Text(document, &CInternalSavedDocument::GetDocName),
                             Text(document, &CInternalSavedDocument::GetDocOriginalPath),
                             Text(document, &CInternalSavedDocument::GetDocTempPath),
                             store,
                             document.GetStatus() == TEMP_DOCUMENT_RECOVERED};
    if (described.application.empty())
        described.application = Text(document, &CInternalSavedDocument::GetAppExeImageName);
    return described;
}
} // namespace

std::wstring CSavedDocument::Time() const {
    static const std::wstring pattern = L"dddd-dd-dd_dd.dd.dd";
    const bool usual = store.size() >= pattern.size() &&
                       std::equal(pattern.begin(), pattern.end(), store.begin(),
                                  [](wchar_t p, wchar_t c) { return p == L'd' ? c >= L'0' && c <= L'9' : p == c; });
    if (!usual)
        return store;
    std::wstring time = store.substr(0, pattern.size());
    time[10] = L' ';
    time[13] = time[16] = L':';
    return time;
}

bool CSavedDocument::IsSameDocument(const CSavedDocument& other) const {
    return std::tie(application, name, originalPath) == std::tie(other.application, other.name, other.originalPath);
}

std::vector<CSavedDocument> ReadSavedDocuments() {
    std::vector<CStoreEntry> stores = ReadStores();
    std::ranges::sort(stores, std::greater<>(), &CStoreEntry::name);
    const CSavedCopies copies(StoresDirectory());
    std::vector<CSavedDocument> documents;
    for (const CStoreEntry& store : stores)
        for (const auto* document : store.Documents()) {
            CSavedDocument described = Describe(*document, store.name);
            if (copies.Examine(store.directory, described.copy).kind == CSavedCopyAnswer::Kind::Usable)
                documents.push_back(std::move(described));
        }
    return documents;
}

std::vector<CSavedDocument> NewestCopies(const std::vector<CSavedDocument>& documents) {
    std::vector<CSavedDocument> newest;
    for (const auto& document : documents) {
        // Documents of one store are different ones, whatever they are called.
        const bool superseded = std::any_of(newest.begin(), newest.end(), [&](const CSavedDocument& other) {
            return other.store != document.store && other.IsSameDocument(document);
        });
        if (!superseded)
            newest.push_back(document);
    }
    return newest;
}
