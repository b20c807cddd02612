#include "RestoreWork.h"

#include "Components.h"
#include "ExitCode.h"
#include "JsonWide.h"
#include "LogRelay.h"
#include "OperationThread.h"
#include "RecoveryMarks.h"
#include "RestoreOperation.h"
#include "RestoreScripts.h"
#include "SavedCopy.h"
#include "StoreCatalog.h"

#include <map>

using nlohmann::json;

namespace {
/// A store and its marks, for as long as the restore goes on.
struct COpenStore {
    explicit COpenStore(const std::wstring& name) : entry(ReadStore(name)), marks(entry) {}

    CStoreEntry entry;
    CRecoveryMarks marks;
};

/// How a document fared: restored when there is no trouble, and missing when there was nothing to restore.
struct COutcome {
    std::wstring trouble;
    bool missing = false;
};

std::wstring SavedCopyOf(const CInternalSavedDocument& document) {
    std::wstring path;
    document.GetDocTempPath(path);
    return path;
}

COutcome Restore(COpenStore& store, std::size_t index, const CDocumentScript* app) {
    using Kind = CSavedCopyAnswer::Kind;
    CInternalSavedDocument& record = *store.entry.Documents().at(index);
    const CSavedCopyAnswer copy = ExamineSavedCopy(store.entry.directory, SavedCopyOf(record));
    if (copy.kind != Kind::Usable)
        return {copy.kind == Kind::Missing ? copy.reason : L"the saved copy is left alone: " + copy.reason,
                copy.kind == Kind::Missing};
    if (app == nullptr)
        return {L"no application in the applications file has its restore script"};
    CInternalSavedDocument document = record;
    document.SetScript(*app);

    const TEMP_DOCUMENT_STATUS before = record.GetStatus();
    CRestoreOperation op([&] { store.marks.Set(index, TEMP_DOCUMENT_RECOVERED); });
    op.SetSavedDocument(document);
    RunOnWorker(op);
    try {
        // A script that was refused or had no engine has seen nothing of its document, which stays on offer.
        store.marks.Set(index, op.HasStarted() ? TEMP_DOCUMENT_RECOVERED : before);
        return {op.GetFailure()};
    } catch (const CCommandError& error) {
        return {op.GetFailure() + L"; its mark could not be set right: " + error.GetText()};
    }
}

CScriptStartedEvent Announce(std::size_t document, const CInternalSavedDocument& record, const CDocumentScript* app) {
    CScriptStartedEvent event;
    event.document = document;
    event.path = SavedCopyOf(record);
    if (app != nullptr) {
        event.application = app->GetAppFriendlyName();
        event.script = app->GetRestoreScript().GetScriptName();
    }
    return event;
}
} // namespace

void DoRestore(const CRestoreOrder& order, IWorkerEvents& events) {
    const CRestoreScripts scripts(order.appsFile, order.script);
    const CHostApartment apartment;
    RequireComponents();

    const CLogRelay relay({"Quorline.Scripts"}, [&](const CMessageEvent& line) { events.Report(line); });
    std::map<std::wstring, COpenStore> stores;
    for (std::size_t i = 0; i < order.documents.size(); ++i) {
        const auto& [name, index] = order.documents[i];
        COpenStore& store = stores.try_emplace(name, name).first->second;
        const auto documents = store.entry.Documents();
        if (index >= documents.size())
            throw CCommandError(ExitCode::Failed,
                                L"the store '" + name + L"' has changed meanwhile; run restore again.");
        const CDocumentScript* app = scripts.Find(*documents[index]);
        events.Report(Announce(i, *documents[index], app));
        const COutcome outcome = Restore(store, index, app);
        CScriptEndedEvent ended;
        ended.failed = !outcome.trouble.empty();
        ended.trouble = outcome.trouble;
        ended.missing = outcome.missing;
        events.Report(ended);
    }
}

json ToJson(const CRestoreOrder& order) {
    json documents = json::array();
    for (const auto& document : order.documents)
        documents.push_back({{"store", document.store}, {"index", document.index}});
    return {{"apps", order.appsFile}, {"script", order.script}, {"documents", documents}};
}

CRestoreOrder RestoreOrderFromJson(const json& value) {
    CRestoreOrder order{value.at("apps").get<std::wstring>(), value.at("script").get<std::wstring>(), {}};
    for (const auto& document : value.at("documents"))
        order.documents.push_back({document.at("store").get<std::wstring>(), document.at("index").get<std::size_t>()});
    return order;
}
