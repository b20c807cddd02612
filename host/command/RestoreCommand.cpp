#include "AppsFile.h"
#include "Commands.h"
#include "Components.h"
#include "Console.h"
#include "InternalSavedDocument.h"
#include "OperationThread.h"
#include "RestoreDocumentScriptOp.h"
#include "ScriptError.h"
#include "StoreCatalog.h"
#include "protection/ProcessInfo.h"
#include "protection/UpperCase.h"

namespace {
bool SameText(const std::wstring& left, const std::wstring& right) {
    return _wcsicmp(left.c_str(), right.c_str()) == 0;
}

std::wstring Text(const CInternalSavedDocument& document, void (CInternalSavedDocument::*get)(std::wstring&) const) {
    std::wstring value;
    (document.*get)(value);
    return value;
}

/// Reads the script's error before the operation gives up its runner.
class CRestoreOp : public CRestoreDocumentScriptOp {
public:
    long Run() override {
        m_result = CRestoreDocumentScriptOp::Run();
        m_hasError = m_runner.GetErrorInfo(m_error.source, m_error.description, m_error.line, m_error.character);
        return m_result;
    }

    /// Empty when the script ran to its end.
    std::wstring DescribeFailure(const std::wstring& script) const {
        if (m_hasError) {
            CScriptError error = m_error;
            error.script = script;
            return error.Describe();
        }
        return FAILED(m_result) ? L"'" + script + L"' could not be run; the log says why" : std::wstring();
    }

private:
    long m_result = E_FAIL;
    bool m_hasError = false;
    CScriptError m_error;
};

struct CSelected {
    CStoreEntry* store;
    CInternalSavedDocument* document;
};

bool IsStoreNamed(const CStoreEntry& store, const std::wstring& target) {
    return SameText(store.name, target) || SameText(store.directory, target);
}

bool IsDocumentNamed(const CInternalSavedDocument& document, const std::wstring& target) {
    const std::wstring copy = Text(document, &CInternalSavedDocument::GetDocTempPath);
    return SameText(copy, target) || SameText(copy.substr(copy.find_last_of(L'\\') + 1), target) ||
           SameText(Text(document, &CInternalSavedDocument::GetDocName), target);
}

/// Without a document's own name only those are taken that no script was started for yet.
std::vector<CSelected> Select(std::vector<CStoreEntry>& stores, const CRestoreRequest& request) {
    std::vector<CSelected> selected;
    bool known = request.all;
    for (auto& store : stores) {
        const bool whole = request.all || IsStoreNamed(store, request.target);
        known = known || whole;
        for (auto* document : store.Documents()) {
            const bool named = !request.all && IsDocumentNamed(*document, request.target);
            known = known || named;
            if (named || (whole && document->GetStatus() != TEMP_DOCUMENT_RECOVERED))
                selected.push_back({&store, document});
        }
    }
    if (!known)
        throw CCommandError(ExitCode::BadInput, L"there is no store and no document '" + request.target + L"'.");
    return selected;
}

/// Finds the application whose restore script a document gets.
class CRestoreScripts {
public:
    explicit CRestoreScripts(const CRestoreRequest& request) {
        if (!request.appsFile.empty())
            m_apps = ReadAppsFile(request.appsFile);
        if (request.script.empty())
            return;
        m_override = std::make_unique<CDocumentScript>();
        m_override->SetRestoreScript(ReadScriptFile(request.script));
    }

    /// The script given on the command line. Otherwise the application whose restore script the record names; of
    /// several whose scripts have one name, the one that the saving program belongs to. A host that was killed leaves
    /// records that name no script: they too go by their program. Null when there is none.
    const CDocumentScript* Find(const CInternalSavedDocument& document) const {
        if (m_override)
            return m_override.get();
        const std::wstring name = Text(document, &CInternalSavedDocument::GetRestoreScriptName);
        CProcessInfo process;
        process.m_imageName = ToUpperCase(Text(document, &CInternalSavedDocument::GetAppExeImageName));
        const CDocumentScript* named = nullptr;
        for (const auto& app : m_apps) {
            const std::wstring script = app->GetRestoreScript().GetScriptName();
            if (script.empty() || (!name.empty() && !SameText(script, name)))
                continue;
            if (static_cast<const IProtectedAppMatcher&>(*app).IsMatchingProcess(process))
                return app.get();
            if (!name.empty() && named == nullptr)
                named = app.get();
        }
        return named;
    }

private:
    ProtectedApps m_apps;
    std::unique_ptr<CDocumentScript> m_override;
};

/// Empty when the document was restored, else why not.
std::wstring Restore(const CSelected& selected, const CRestoreScripts& scripts) {
    const CDocumentScript* app = scripts.Find(*selected.document);
    if (app == nullptr)
        return L"no application in the applications file has its restore script";
    CInternalSavedDocument document = *selected.document;
    document.SetScript(*app);

    CRestoreOp op;
    op.SetSavedDocument(document);
    RunOnWorker(op);

    if (op.GetSavedDocument().GetStatus() == TEMP_DOCUMENT_RECOVERED) {
        selected.document->SetStatus(TEMP_DOCUMENT_RECOVERED);
        WriteStore(*selected.store);
    }
    return op.DescribeFailure(app->GetRestoreScript().GetScriptName());
}
} // namespace

ExitCode RunRestore(const CRestoreRequest& request) {
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
    std::vector<std::wstring> failed;
    for (std::size_t i = 0; i < selected.size(); ++i) {
        const std::wstring copy = Text(*selected[i].document, &CInternalSavedDocument::GetDocTempPath);
        PrintLine(L"restoring  " + std::to_wstring(i + 1) + L" of " + std::to_wstring(selected.size()) + L": " + copy);
        const std::wstring trouble = Restore(selected[i], scripts);
        if (trouble.empty())
            continue;
        PrintLine(L"failed     " + trouble);
        failed.push_back(copy);
    }
    if (selected.empty())
        PrintLine(L"nothing to restore");
    else
        PrintLine(L"done       " + std::to_wstring(selected.size() - failed.size()) + L" of " +
                  std::to_wstring(selected.size()) + L" documents restored");
    for (const auto& copy : failed)
        PrintLine(L"not restored  " + copy);
    return failed.empty() ? ExitCode::Done : ExitCode::Failed;
}
