#include "Commands.h"
#include "Components.h"
#include "Console.h"
#include "InternalSavedDocument.h"
#include "ScriptExecution/InfoFileFields.h"
#include "JsonText.h"
#include "SharedWork.h"
#include "StoreFiles.h"
#include "base/LineText.h"

#include <algorithm>
#include <functional>
#include <iterator>
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
    std::vector<CStoreEntry> stores = ReadStores();
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

ordered_json DocumentJson(const CSavedCopies& copies, const CStoreEntry& store,
                          const CInternalSavedDocument* document) {
    ordered_json json;
    for (const auto& [element, name] : JsonNames)
        json[name] = ToUtf8(std::ranges::find(GetInfoFileFields(), element, &CInfoFileField::element)->get(*document));
    json["recovered"] = IsRecovered(document);
    const CSavedCopyAnswer copy = ExamineCopyOf(copies, store, *document);
    json["missing"] = copy.kind == CSavedCopyAnswer::Kind::Missing;
    if (copy.kind == CSavedCopyAnswer::Kind::Refused)
        json["problem"] = ToUtf8(copy.reason);
    return json;
}

ordered_json StoreJson(const CSavedCopies& copies, const CStoreEntry& store) {
    ordered_json json{{"name", ToUtf8(store.name)},
                      {"directory", ToUtf8(store.directory)},
                      {"time", ToUtf8(TimeOf(store))},
                      {"state", ToUtf8(StateOf(store))}};
    if (store.info) {
        json["documents"] = ordered_json::array();
        for (const auto* document : DocumentsInOrder(store))
            json["documents"].push_back(DocumentJson(copies, store, document));
    } else {
        json["problem"] = ToUtf8(store.problem);
    }
    json["unrecorded"] = ordered_json::array();
    for (const auto& path : FindUnrecorded(store))
        json["unrecorded"].push_back(ToUtf8(path));
    return json;
}

/// Of each store what describe makes of it.
template <class Describe> auto DescribeTogether(const std::vector<CStoreEntry>& stores, Describe describe) {
    const CSavedCopies copies(StoresDirectory());
    std::vector<decltype(describe(copies, stores.front()))> descriptions(stores.size());
    ShareWork(stores.size(), [&](CIndexes& indexes) {
        while (const auto index = indexes.Next())
            descriptions[*index] = describe(copies, stores[*index]);
    });
    return descriptions;
}

void PrintStoresJson(const std::vector<CStoreEntry>& stores) {
    PrintJson({{"stores", DescribeTogether(stores, &StoreJson)}});
}

void AddDocument(const CSavedCopies& copies, const CStoreEntry& store, const CInternalSavedDocument* document,
                 std::vector<std::wstring>& lines) {
    const auto note = [&lines](const std::wstring& text) { lines.push_back(L"               " + text); };
    const CSavedCopyAnswer copy = ExamineCopyOf(copies, store, *document);
    const bool isMissing = copy.kind == CSavedCopyAnswer::Kind::Missing;
    lines.push_back((IsRecovered(document) ? L"  recovered    "
                     : isMissing           ? L"  missing      "
                                           : L"  unrecovered  ") +
                    Text(document, &CInternalSavedDocument::GetDocTempPath));
    const std::wstring application = Text(document, &CInternalSavedDocument::GetAppExeImageName);
    const std::wstring script = Text(document, &CInternalSavedDocument::GetSaveScriptName);
    if (!application.empty())
        note(L"of " + application + (script.empty() ? L"" : L", by " + script));
    if (IsRecovered(document) && isMissing)
        note(copy.reason);
    if (copy.kind == CSavedCopyAnswer::Kind::Refused)
        note(L"is not restored: " + copy.reason);
}

/// In one piece: a list of thousands would otherwise wait for as many writes.
void PrintTogether(const std::vector<std::wstring>& lines) {
    std::string text;
    for (const std::wstring& line : lines)
        text += (text.empty() ? "" : "\n") + ToUtf8(ShowControls(line));
    if (PrintsLines())
        PrintData(text);
}

std::wstring DescribeChange(const CStoreEntry& store) {
    const std::wstring time = TimeOf(store);
    const std::wstring state = StateOf(store);
    return (state.empty() ? L"state not recorded" : state) + (time.empty() ? L"" : L", " + time);
}

std::vector<std::wstring> LinesOf(const CSavedCopies& copies, const CStoreEntry& store) {
    std::vector<std::wstring> lines{store.name + L"  " + DescribeChange(store)};
    if (!store.info)
        lines.push_back(L"  unreadable   " + store.problem);
    for (const auto* document : DocumentsInOrder(store))
        AddDocument(copies, store, document, lines);
    for (const auto& path : FindUnrecorded(store))
        lines.push_back(L"  unrecorded   " + path);
    return lines;
}

void PrintTable(const std::vector<CStoreEntry>& stores) {
    const auto linesOfStores = DescribeTogether(stores, &LinesOf);
    std::vector<std::wstring> lines;
    std::ptrdiff_t unrecovered = 0;
    for (std::size_t i = 0; i < stores.size(); ++i) {
        std::ranges::copy(linesOfStores[i], std::back_inserter(lines));
        unrecovered += std::ranges::count_if(stores[i].Documents(), std::not_fn(&IsRecovered));
    }
    lines.push_back(std::to_wstring(unrecovered) +
                    (unrecovered == 1 ? L" unrecovered document" : L" unrecovered documents") + L" in " +
                    StoresDirectory());
    PrintTogether(lines);
}

ExitCode RunHistory(bool asJson) {
    const CHostApartment apartment;
    auto stores = ReadInOrder();
    PrintUnreadable(stores);
    const bool readable = std::ranges::all_of(stores, [](const CStoreEntry& store) { return store.info != nullptr; });
    AddStoresWithoutRecord(stores);
    if (asJson)
        PrintStoresJson(stores);
    else
        PrintTable(stores);
    return readable ? ExitCode::Done : ExitCode::Failed;
}
} // namespace

void AddHistory(CCommandLine& line) {
    line.Add({"history",
              "List the stores and their documents, those not yet recovered first",
              {"history", "history --json"},
              {ExitCode::Done, ExitCode::Failed},
              R"({"stores": [{"name", "directory", "time", "state", "documents": [{"name", "originalPath",)"
              R"( "savedCopy", "application", "applicationPath", "saveScript", "restoreScript", "recovered",)"
              R"( "missing", "problem" of a copy that is left alone}] or "problem", "unrecorded": []}]})"},
             [](const CCommonOptions& options) { return RunHistory(options.json); });
}
