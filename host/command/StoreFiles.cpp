#include "StoreFiles.h"

#include "Console.h"
#include "ScratchFolder.h"
#include "SignerCommands.h"
#include "base/PathHelper.h"
#include "base/Text.h"

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <iomanip>
#include <optional>
#include <set>
#include <sstream>

namespace {
/// The record itself, and the one that is about to take its place.
bool IsRecord(const std::wstring& file) {
    return SameName(file, InfoFile) || SameName(file, std::wstring(InfoFile) + L".new");
}

std::wstring CopyOf(const CInternalSavedDocument& document) {
    std::wstring path;
    document.GetDocTempPath(path);
    return path;
}

/// A store's directory is named after the local time at which its save began.
std::optional<FILETIME> ReadTimeFromName(const std::wstring& name) {
    std::tm parts{};
    std::wistringstream text(name);
    text >> std::get_time(&parts, L"%Y-%m-%d_%H.%M.%S");
    if (!text || text.peek() != std::wistringstream::traits_type::eof())
        return std::nullopt;
    const auto word = [](int value) { return static_cast<WORD>(value); };
    const SYSTEMTIME local{
        word(parts.tm_year + 1900), word(parts.tm_mon + 1), 0, word(parts.tm_mday), word(parts.tm_hour),
        word(parts.tm_min),         word(parts.tm_sec),     0};
    SYSTEMTIME utc{};
    FILETIME time{};
    if (!TzSpecificLocalTimeToSystemTime(nullptr, &local, &utc) || !SystemTimeToFileTime(&utc, &time))
        return std::nullopt;
    return time;
}
} // namespace

std::vector<std::wstring> FindUnrecorded(const CStoreEntry& store) {
    std::vector<std::wstring> found;
    const auto documents = store.Documents();
    for (const CListedFile& file : store.files) {
        const std::wstring path = JoinPath(store.directory, file.name);
        if (!IsRecord(file.name) && std::ranges::none_of(documents, [&](const auto* document) {
                return SameName(FullPath(CopyOf(*document)), path);
            }))
            found.push_back(path);
    }
    return found;
}

void AddStoresWithoutRecord(std::vector<CStoreEntry>& stores) {
    std::set<std::wstring> known;
    for (const CStoreEntry& store : stores)
        known.insert(store.name);
    const std::wstring base = StoresDirectory();
    for (const CListedFile& folder : ListDirectory(base)) {
        if (!folder.isDirectory || known.contains(folder.name))
            continue;
        CStoreEntry store;
        store.name = folder.name;
        store.directory = JoinPath(base, folder.name);
        store.files = ListDirectory(store.directory);
        store.problem = L"it has no info file";
        if (!Holds(store.files, InfoFile) && !IsScratch(store.files) && !FindUnrecorded(store).empty())
            stores.push_back(std::move(store));
    }
}

void PrintUnreadable(const std::vector<CStoreEntry>& stores) {
    for (const CStoreEntry& store : stores)
        if (!store.info)
            PrintError(L"the info file of the store '" + store.name + L"' cannot be read: " + store.problem +
                       L"; mend its info.xml, or 'quorline forget' it");
}

CSavedCopyAnswer ExamineCopyOf(const CSavedCopies& copies, const CStoreEntry& store,
                               const CInternalSavedDocument& document) {
    return copies.Examine(store.directory, CopyOf(document));
}

std::wstring TimeOf(const CStoreEntry& store) {
    if (store.HasStateChange())
        return DescribeTime(store.info->GetStateChangeInstance()->GetUTCTimestamp());
    const auto time = ReadTimeFromName(store.name);
    return time ? DescribeTime(*time) : std::wstring();
}

std::wstring StateOf(const CStoreEntry& store) {
    if (!store.HasStateChange())
        return {};
    // The name of a forced one does not read back, and nothing but shutdowns is recorded.
    return store.info->GetStateChangeInstance()->GetStateChangeType() == Shutdown ? L"shutdown" : L"force-shutdown";
}
