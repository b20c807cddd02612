#include "Commands.h"
#include "Components.h"
#include "Console.h"
#include "InternalSavedDocument.h"
#include "OperationThread.h"
#include "RecoveryMarks.h"
#include "RestoreOperation.h"
#include "RestoreScripts.h"
#include "SavedCopy.h"
#include "StoreCatalog.h"
#include "base/Text.h"

#include <map>

namespace {
std::wstring SavedCopyOf(const CInternalSavedDocument& document) {
    std::wstring path;
    document.GetDocTempPath(path);
    return path;
}

struct CSelected {
    CStoreEntry* store;
    CInternalSavedDocument* document;
    std::size_t index; ///< of the document in its store
};

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

/// Without a document's own name only those are taken that no script was started for yet.
std::vector<CSelected> Select(std::vector<CStoreEntry>& stores, const CRestoreRequest& request) {
    std::vector<CSelected> selected;
    bool known = request.all;
    for (auto& store : stores) {
        const bool whole = request.all || IsStoreNamed(store, request.target);
        known = known || whole;
        const auto documents = store.Documents();
        for (std::size_t i = 0; i < documents.size(); ++i) {
            const bool named = !request.all && IsDocumentNamed(*documents[i], request.target);
            known = known || named;
            if (named || (whole && documents[i]->GetStatus() != TEMP_DOCUMENT_RECOVERED))
                selected.push_back({&store, documents[i], i});
        }
    }
    if (!known)
        throw CCommandError(ExitCode::BadInput, L"there is no store and no document '" + request.target + L"'.");
    return selected;
}

/// How a document fared: restored when there is no trouble, and missing when there was nothing to restore.
struct COutcome {
    std::wstring trouble;
    bool missing = false;
};

COutcome Restore(const CSelected& selected, const CRestoreScripts& scripts, CRecoveryMarks& marks) {
    using Kind = CSavedCopyAnswer::Kind;
    const CSavedCopyAnswer copy = ExamineSavedCopy(selected.store->directory, SavedCopyOf(*selected.document));
    if (copy.kind != Kind::Usable)
        return {copy.kind == Kind::Missing ? copy.reason : L"the saved copy is left alone: " + copy.reason,
                copy.kind == Kind::Missing};
    const CDocumentScript* app = scripts.Find(*selected.document);
    if (app == nullptr)
        return {L"no application in the applications file has its restore script"};
    CInternalSavedDocument document = *selected.document;
    document.SetScript(*app);

    const TEMP_DOCUMENT_STATUS before = selected.document->GetStatus();
    CRestoreOperation op([&] { marks.Set(selected.index, TEMP_DOCUMENT_RECOVERED); });
    op.SetSavedDocument(document);
    RunOnWorker(op);
    try {
        // A script that was refused or had no engine has seen nothing of its document, which stays on offer.
        marks.Set(selected.index, op.HasStarted() ? TEMP_DOCUMENT_RECOVERED : before);
        return {op.GetFailure()};
    } catch (const CCommandError& error) {
        return {op.GetFailure() + L"; its mark could not be set right: " + error.GetText()};
    }
}

void PrintSummary(std::size_t count, const std::vector<std::wstring>& failed,
                  const std::vector<std::wstring>& missing) {
    if (count == 0)
        PrintLine(L"nothing to restore");
    else
        PrintLine(L"done       " + std::to_wstring(count - failed.size() - missing.size()) + L" of " +
                  std::to_wstring(count) + L" documents restored");
    for (const auto& copy : failed)
        PrintLine(L"not restored  " + copy);
    for (const auto& copy : missing)
        PrintLine(L"missing       " + copy);
}
} // namespace

ExitCode RunRestore(const CRestoreRequest& request) {
    if (!request.all && request.target.empty())
        throw CCommandError(ExitCode::BadInput, L"name a store or a document, or give --all.");
    if (request.appsFile.empty() && request.script.empty())
        throw CCommandError(ExitCode::BadInput, L"name the applications file with --apps, or a script with --with.");
    const CRestoreScripts scripts(request);
    const CHostApartment apartment;
    RequireComponents();

    std::vector<CStoreEntry> stores;
    for (const auto& name : ListStores())
        stores.push_back(ReadStore(name));
    for (const auto& store : stores)
        if (!store.info)
            PrintError(L"the info file of the store '" + store.name + L"' cannot be read: " + store.problem);

    const auto selected = Select(stores, request);
    std::map<CStoreEntry*, CRecoveryMarks> marks;
    std::vector<std::wstring> failed;
    std::vector<std::wstring> missing;
    for (std::size_t i = 0; i < selected.size(); ++i) {
        const std::wstring copy = SavedCopyOf(*selected[i].document);
        PrintLine(L"restoring  " + std::to_wstring(i + 1) + L" of " + std::to_wstring(selected.size()) + L": " + copy);
        CRecoveryMarks& storesMarks = marks.try_emplace(selected[i].store, *selected[i].store).first->second;
        const COutcome outcome = Restore(selected[i], scripts, storesMarks);
        if (outcome.trouble.empty())
            continue;
        PrintLine((outcome.missing ? L"missing    " : L"failed     ") + outcome.trouble);
        (outcome.missing ? missing : failed).push_back(copy);
    }
    PrintSummary(selected.size(), failed, missing);
    return failed.empty() && missing.empty() ? ExitCode::Done : ExitCode::Failed;
}

void AddRestore(CCommandLine& line) {
    const auto request = std::make_shared<CRestoreRequest>();
    CLI::App& command = line.Add({"restore",
                                  "Run the restore scripts of saved documents",
                                  {"restore --all --apps apps.json", "restore Letter --with restore.js"},
                                  {ExitCode::Done, ExitCode::Failed, ExitCode::NotRegistered}},
                                 [request](const CCommonOptions&) { return RunRestore(*request); });
    auto* all = command.add_flag("--all", request->all, "Every document that was not recovered yet");
    AddText(command, "target", request->target, "A store, or one document (again, if it was restored before)")
        ->excludes(all);
    AddText(command, "--apps", request->appsFile, "JSON file that lists the protected applications");
    AddText(command, "--with", request->script, "Run this restore script for each document, whatever its record says");
}
