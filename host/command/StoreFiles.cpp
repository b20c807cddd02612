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
    std::error_code ignored;
    for (const auto& file : std::filesystem::directory_iterator(store.directory, ignored)) {
        const std::wstring path = file.path().wstring();
        if (!IsRecord(file.path().filename().wstring()) &&
            std::none_of(documents.begin(), documents.end(),
                         [&](const auto* document) { return SameName(FullPath(CopyOf(*document)), path); }))
            found.push_back(path);
    }
    return found;
}

void AddStoresWithoutRecord(std::vector<CStoreEntry>& stores) {
    std::set<std::wstring> known;
    for (const CStoreEntry& store : stores)
        known.insert(store.name);
    std::error_code ignored;
    for (const auto& folder : std::filesystem::directory_iterator(StoresDirectory(), ignored)) {
        if (known.contains(folder.path().filename().wstring()))
            continue;
        // A record first: systems that look through the whole folder for what is not there do so for few then.
        if (!folder.is_directory(ignored) || std::filesystem::exists(folder.path() / InfoFile, ignored) ||
            IsScratch(folder.path().wstring()))
            continue;
        CStoreEntry store;
        store.name = folder.path().filename().wstring();
        store.directory = folder.path().wstring();
        store.problem = L"it has no info file";
        if (!FindUnrecorded(store).empty())
            stores.push_back(std::move(store));
    }
}

void PrintUnreadable(const std::vector<CStoreEntry>& stores) {
    for (const CStoreEntry& store : stores)
        if (!store.info)
            PrintError(L"the info file of the store '" + store.name + L"' cannot be read: " + store.problem +
                       L"; mend its info.xml, or 'quorline forget' it");
}

CSavedCopyAnswer ExamineCopyOf(const CStoreEntry& store, const CInternalSavedDocument& document) {
    return ExamineSavedCopy(store.directory, CopyOf(document));
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
