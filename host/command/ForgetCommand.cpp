#include "Commands.h"
#include "Components.h"
#include "Console.h"
#include "JsonText.h"
#include "SaveTurn.h"
#include "StoreFiles.h"
#include "base/PathHelper.h"
#include "base/Text.h"

#include <windows.h>

#include <shellapi.h>

#include <algorithm>
#include <filesystem>

namespace {
using nlohmann::ordered_json;

struct CForgetRequest {
    std::vector<std::wstring> stores;
    bool recovered = false;
    unsigned olderThanDays = 0;
    bool permanently = false;
    bool yes = false;
};

/// Why a store may still be needed; empty when it is not.
std::wstring WhyNeeded(const CSavedCopies& copies, const CStoreEntry& store) {
    if (!store.info)
        return L"its documents are not known: " + store.problem;
    for (const auto* document : store.Documents())
        if (document->GetStatus() != TEMP_DOCUMENT_RECOVERED &&
            ExamineCopyOf(copies, store, *document).kind != CSavedCopyAnswer::Kind::Missing) {
            std::wstring copy;
            document->GetDocTempPath(copy);
            return L"'" + copy + L"' was not restored yet";
        }
    const auto unrecorded = FindUnrecorded(store);
    return unrecorded.empty() ? L"" : L"no record names '" + unrecorded.front() + L"'";
}

bool IsOlderThan(const CStoreEntry& store, unsigned days) {
    std::error_code failed;
    const auto written = std::filesystem::last_write_time(store.InfoPath(), failed);
    return !failed && std::filesystem::file_time_type::clock::now() - written >= std::chrono::hours(24) * days;
}

/// By name or by path, of the stores alone: all that is in it goes.
std::vector<CStoreEntry> TakeNamed(const std::vector<std::wstring>& names) {
    std::vector<CStoreEntry> known = ReadStores();
    AddStoresWithoutRecord(known);
    std::vector<CStoreEntry> taken;
    for (const auto& name : names) {
        const auto found = std::ranges::find_if(known, [&](const CStoreEntry& store) {
            return SameName(store.name, name) || SameName(store.directory, FullPath(name));
        });
        if (found == known.end())
            throw CCommandError(ExitCode::BadInput,
                                L"there is no store '" + name + L"'; 'quorline history' lists them.");
        taken.push_back(std::move(*found));
        known.erase(found);
    }
    return taken;
}

/// Nothing goes when one of them may not.
void RequireUnneeded(const CSavedCopies& copies, const std::vector<CStoreEntry>& stores) {
    for (const auto& store : stores)
        if (const std::wstring why = WhyNeeded(copies, store); !why.empty())
            throw CCommandError(ExitCode::BadInput, L"the store '" + store.name + L"' may be needed, " + why +
                                                        L"; nothing was deleted. Restore it first, or give --yes.");
}

/// What is deleted where there is no recycle bin, as on another machine, is gone.
void RequireRecycleBin() {
    const std::wstring base = StoresDirectory();
    SHQUERYRBINFO bin{};
    bin.cbSize = sizeof bin;
    if (base.starts_with(L"\\\\") || GetDriveTypeW(base.substr(0, base.find(L'\\') + 1).c_str()) == DRIVE_REMOTE ||
        FAILED(SHQueryRecycleBinW(nullptr, &bin)))
        throw CCommandError(ExitCode::BadInput, L"there is no recycle bin for what is in '" + base +
                                                    L"'; nothing was deleted. Give --permanently.");
}

bool Delete(const CStoreEntry& store, bool permanently) {
    // The call takes a list, which ends with a second zero.
    const std::wstring paths = store.directory + std::wstring(1, L'\0');
    SHFILEOPSTRUCTW operation{};
    operation.wFunc = FO_DELETE;
    operation.pFrom = paths.c_str();
    operation.fFlags = FOF_NOCONFIRMATION | FOF_SILENT | FOF_NOERRORUI;
    if (!permanently)
        operation.fFlags |= FOF_ALLOWUNDO;
    return SHFileOperationW(&operation) == 0 && !operation.fAnyOperationsAborted &&
           GetFileAttributesW(store.directory.c_str()) == INVALID_FILE_ATTRIBUTES;
}

/// What becomes of each store, for words and for data.
class CForgetReport {
public:
    void Add(const CStoreEntry& store, const wchar_t* word) {
        PrintLine(word + store.directory);
        m_data["deleted"].push_back(ToUtf8(store.directory));
    }
    void Keep(const CStoreEntry& store, const std::wstring& why) {
        m_data["kept"].push_back({{"store", ToUtf8(store.directory)}, {"reason", ToUtf8(why)}});
    }
    bool IsEmpty() const { return m_data["deleted"].empty() && m_data["kept"].empty(); }
    const ordered_json& Data() const { return m_data; }

private:
    ordered_json m_data{{"deleted", ordered_json::array()}, {"kept", ordered_json::array()}};
};

/// Those whose documents were all restored; says of the others that are old enough why they stay.
std::vector<CStoreEntry> TakeRecovered(const CSavedCopies& copies, unsigned olderThanDays, CForgetReport& report) {
    std::vector<CStoreEntry> taken;
    for (CStoreEntry& store : ReadStores()) {
        if (!IsOlderThan(store, olderThanDays))
            continue;
        if (const std::wstring why = WhyNeeded(copies, store); why.empty()) {
            taken.push_back(std::move(store));
        } else {
            PrintLine(L"kept       " + store.directory + L": " + why);
            report.Keep(store, why);
        }
    }
    return taken;
}

ExitCode RunForget(const CForgetRequest& request, bool asJson) {
    if (request.recovered != request.stores.empty())
        throw CCommandError(ExitCode::BadInput,
                            L"name stores, or give --recovered for all whose documents were restored.");
    const CHostApartment apartment;
    // A store that is being filled looks like one whose copies are gone.
    const CSaveTurn turn([] { PrintLine(L"waiting    a save of this user is running"); });
    CForgetReport report;
    const CSavedCopies copies(StoresDirectory());
    const auto stores =
        request.recovered ? TakeRecovered(copies, request.olderThanDays, report) : TakeNamed(request.stores);
    if (!request.yes)
        RequireUnneeded(copies, stores);
    if (!request.permanently && !stores.empty())
        RequireRecycleBin();
    ExitCode code = ExitCode::Done;
    for (const auto& store : stores) {
        if (Delete(store, request.permanently)) {
            report.Add(store, request.permanently ? L"deleted    " : L"recycled   ");
        } else {
            const std::wstring why = L"it could not be deleted; close what has its files open";
            PrintError(L"'" + store.directory + L"': " + why);
            report.Keep(store, why);
            code = ExitCode::Failed;
        }
    }
    if (report.IsEmpty())
        PrintLine(L"nothing to forget");
    if (asJson)
        PrintJson(report.Data());
    return code;
}
} // namespace

void AddForget(CCommandLine& line) {
    const auto request = std::make_shared<CForgetRequest>();
    CLI::App& command =
        line.Add({"forget",
                  "Delete stores, into the recycle bin",
                  {"forget --recovered --older-than 30d", "forget 2026-11-21_20.45.00 --permanently"},
                  {ExitCode::Done, ExitCode::Failed},
                  R"({"deleted": [], "kept": [{"store", "reason"}]})"},
                 [request](const CCommonOptions& options) { return RunForget(*request, options.json); });
    AddTexts(command, "STORE", request->stores, "Stores, by name or by path");
    CLI::Option* recovered =
        command.add_flag("--recovered", request->recovered, "All stores whose documents were all restored");
    command.add_option("--older-than", request->olderThanDays, "Of those only what is so old, such as 30d or 4w")
        ->transform(CLI::AsNumberWithUnit(std::map<std::string, unsigned>{{"d", 1}, {"w", 7}}))
        ->needs(recovered);
    command.add_flag("--permanently", request->permanently, "Not into the recycle bin");
    command.add_flag("--yes", request->yes, "Also what may still be needed, such as documents not restored yet");
}
