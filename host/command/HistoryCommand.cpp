#include "Commands.h"
#include "Components.h"
#include "Console.h"
#include "InternalDocumentStore.h"
#include "InternalSavedDocument.h"
#include "ScriptExecution/InfoFileFields.h"
#include "JsonText.h"
#include "StoreCatalog.h"

#include <algorithm>
#include <utility>

namespace {
using nlohmann::ordered_json;

bool IsRecovered(const CInternalSavedDocument* document) {
    return document->GetStatus() == TEMP_DOCUMENT_RECOVERED;
}

std::wstring Text(const CInternalSavedDocument* document, void (CInternalSavedDocument::*get)(std::wstring&) const) {
    std::wstring value;
    (document->*get)(value);
    return value;
}

/// Unrecovered documents and the stores that hold some come first; otherwise the order stays.
std::vector<CStoreEntry> ReadInOrder() {
    std::vector<CStoreEntry> stores;
    const CInternalDocumentStore::CBaseDirectoryScope inOneFolder;
    for (const auto& name : ListStores())
        stores.push_back(ReadStore(name));
    std::stable_partition(stores.begin(), stores.end(), [](const CStoreEntry& store) {
        const auto documents = store.Documents();
        return !std::all_of(documents.begin(), documents.end(), IsRecovered);
    });
    return stores;
}

std::vector<CInternalSavedDocument*> DocumentsInOrder(const CStoreEntry& store) {
    auto documents = store.Documents();
    std::stable_partition(documents.begin(), documents.end(),
                          [](const auto* document) { return !IsRecovered(document); });
    return documents;
}

/// What programs find a record's fields under.
constexpr std::pair<InfoFileElement, const char*> JsonNames[] = {{InfoFileElement::Name, "name"},
                                                                 {InfoFileElement::OrigPath, "originalPath"},
                                                                 {InfoFileElement::TempPath, "savedCopy"},
                                                                 {InfoFileElement::AppName, "application"},
                                                                 {InfoFileElement::AppPath, "applicationPath"},
                                                                 {InfoFileElement::SaveScript, "saveScript"},
                                                                 {InfoFileElement::RestoreScript, "restoreScript"}};

ordered_json DocumentJson(const CInternalSavedDocument* document) {
    ordered_json json;
    for (const auto& [element, name] : JsonNames)
        json[name] = ToUtf8(std::ranges::find(GetInfoFileFields(), element, &CInfoFileField::element)->get(*document));
    json["recovered"] = IsRecovered(document);
    return json;
}

void PrintStoresJson(const std::vector<CStoreEntry>& stores) {
    ordered_json list = ordered_json::array();
    for (const auto& store : stores) {
        ordered_json entry{{"name", ToUtf8(store.name)}, {"directory", ToUtf8(store.directory)}};
        if (store.info) {
            entry["documents"] = ordered_json::array();
            for (const auto* document : DocumentsInOrder(store))
                entry["documents"].push_back(DocumentJson(document));
        } else {
            entry["problem"] = ToUtf8(store.problem);
        }
        list.push_back(std::move(entry));
    }
    PrintJson({{"stores", std::move(list)}});
}

void PrintTable(const std::vector<CStoreEntry>& stores) {
    std::size_t unrecovered = 0;
    for (const auto& store : stores) {
        PrintLine(store.name);
        if (!store.info)
            PrintLine(L"  unreadable   " + store.problem);
        for (const auto* document : DocumentsInOrder(store)) {
            const bool recovered = IsRecovered(document);
            unrecovered += recovered ? 0 : 1;
            PrintLine((recovered ? L"  recovered    " : L"  unrecovered  ") +
                      Text(document, &CInternalSavedDocument::GetDocTempPath));
        }
    }
    PrintLine(std::to_wstring(unrecovered) + (unrecovered == 1 ? L" unrecovered document" : L" unrecovered documents") +
              L" in " + StoresDirectory());
}

ExitCode RunHistory(bool asJson) {
    const CHostApartment apartment;
    const auto stores = ReadInOrder();
    if (asJson)
        PrintStoresJson(stores);
    else
        PrintTable(stores);
    for (const auto& store : stores)
        if (!store.info)
            PrintError(L"the info file of the store '" + store.name + L"' cannot be read: " + store.problem);
    return std::all_of(stores.begin(), stores.end(), [](const auto& store) { return store.info != nullptr; })
               ? ExitCode::Done
               : ExitCode::Failed;
}
} // namespace

void AddHistory(CCommandLine& line) {
    line.Add({"history",
              "List the saved documents, those not yet recovered first",
              {"history", "history --json"},
              {ExitCode::Done, ExitCode::Failed},
              R"({"stores": [{"name", "directory", "documents": [{"name", "originalPath", "savedCopy", "application",)"
              R"( "applicationPath", "saveScript", "restoreScript", "recovered"}] or "problem"}]})"},
             [](const CCommonOptions& options) { return RunHistory(options.json); });
}
