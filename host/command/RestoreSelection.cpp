#include "RestoreSelection.h"

#include "ExitCode.h"
#include "InternalSavedDocument.h"
#include "StoreFiles.h"
#include "base/Text.h"

#include <algorithm>
#include <array>
#include <map>

namespace {
std::wstring SavedCopyOf(const CInternalSavedDocument& document) {
    std::wstring path;
    document.GetDocTempPath(path);
    return path;
}

bool IsStoreNamed(const CStoreEntry& store, const std::wstring& target) {
    return SameText(store.name, target) || SameText(store.directory, target);
}

bool IsDocumentNamed(const CInternalSavedDocument& document, const std::wstring& target) {
    const std::wstring copy = SavedCopyOf(document);
    std::wstring name;
    document.GetDocName(name);
    return SameText(copy, target) || SameText(copy.substr(copy.find_last_of(L'\\') + 1), target) ||
           SameText(name, target);
}

struct CLessNoCase {
    bool operator()(const std::wstring& left, const std::wstring& right) const {
        return _wcsicmp(left.c_str(), right.c_str()) < 0;
    }
};

/// What two copies of one document have in common.
struct CDocumentKey {
    explicit CDocumentKey(const CInternalSavedDocument& document) {
        document.GetAppExeImageName(parts[0]);
        document.GetDocName(parts[1]);
        document.GetDocOriginalPath(parts[2]);
    }
    bool operator<(const CDocumentKey& other) const {
        return std::lexicographical_compare(parts.begin(), parts.end(), other.parts.begin(), other.parts.end(),
                                            CLessNoCase());
    }

    std::array<std::wstring, 3> parts;
};

/// The newest store of each document that has a copy there. Stores are named after their time. A copy that was restored
/// already counts: what is older than that is no longer wanted.
std::map<CDocumentKey, std::wstring> FindNewest(const std::vector<CStoreEntry>& stores) {
    std::map<CDocumentKey, std::wstring> newest;
    for (const auto& store : stores)
        for (const CInternalSavedDocument* document : store.Documents()) {
            if (GetFileAttributesW(SavedCopyOf(*document).c_str()) == INVALID_FILE_ATTRIBUTES)
                continue;
            std::wstring& name = newest[CDocumentKey(*document)];
            name = std::max(name, store.name);
        }
    return newest;
}
} // namespace

std::wstring CSelectedDocument::SavedCopy() const {
    return SavedCopyOf(*document);
}

CRestoreSelection SelectDocuments(std::vector<CStoreEntry>& stores, const CRestoreRequest& request) {
    CRestoreSelection selection;
    const bool everything = request.all || request.target.empty();
    const auto newest = request.latest ? FindNewest(stores) : std::map<CDocumentKey, std::wstring>();
    bool known = everything;
    for (auto& store : stores) {
        const bool whole = everything || IsStoreNamed(store, request.target);
        known = known || whole;
        if (whole)
            std::ranges::move(FindUnrecorded(store), std::back_inserter(selection.unrecorded));
        const auto documents = store.Documents();
        for (std::size_t i = 0; i < documents.size(); ++i) {
            const bool named = !everything && IsDocumentNamed(*documents[i], request.target);
            known = known || named;
            if (!named && (!whole || documents[i]->GetStatus() == TEMP_DOCUMENT_RECOVERED))
                continue;
            const auto found = newest.find(CDocumentKey(*documents[i]));
            const bool older = found != newest.end() && store.name < found->second;
            (older ? selection.older : selection.documents).push_back({&store, documents[i], i});
        }
    }
    if (!known)
        throw CCommandError(ExitCode::BadInput, L"there is no store and no document '" + request.target +
                                                    L"'; 'quorline history' lists them.");
    return selection;
}
