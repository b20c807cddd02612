#include "CampaignHost.h"

#include "base/UniqueHandle.h"
#include "InternalDocumentStore.h"
#include "RestoreDocumentScriptOp.h"
#include "ScriptExecution/AsyncRunner.h"
#include "ScriptExecution/DocumentStoreHistory.h"
#include "ScriptExecution/DocumentStoreInfo.h"
#include "ScriptExecution/DocumentStoreXMLWriter.h"
#include "ScriptExecution/SaveObserver.h"
#include "ScriptExecution/StateChangeInstance.h"
#include "ScriptExecution/StateChangeScriptOp.h"
#include "base/Exceptions.h"

#include <memory>
#include <stdexcept>

namespace {
std::wstring Describe(const wchar_t* where, const std::exception& failure) {
    std::wstring text = std::wstring(where) + L": ";
    for (const char* c = failure.what(); *c != '\0'; ++c)
        text += static_cast<wchar_t>(*c);
    if (const auto* system = dynamic_cast<const COSException*>(&failure))
        text += L" " + std::to_wstring(system->GetErrorCode());
    return text;
}

/// Runs an action; what it throws becomes a text.
template <class Action> void Guarded(std::wstring& trouble, const wchar_t* where, Action action) noexcept {
    try {
        action();
    } catch (const std::exception& failure) {
        trouble += (trouble.empty() ? L"" : L"; ") + Describe(where, failure);
    } catch (...) {
        trouble += (trouble.empty() ? L"" : L"; ") + std::wstring(where) + L": something else";
    }
}

/// As the guide has it: an exception out of an operation would end the process.
template <class Operation> class CSafe : public Operation {
public:
    long Run() override {
        Guarded(trouble, L"Run", [this] { result = Operation::Run(); });
        OnRun();
        return result;
    }
    virtual void OnRun() {}

    long result = E_PENDING;
    std::wstring trouble;

protected:
    ~CSafe() = default;
};

class CSaveOp final : public CSafe<CStateChangeScriptOp> {};

class CRestoreOp final : public CSafe<CRestoreDocumentScriptOp> {
public:
    void OnRun() override { hasError = m_runner.HasError(); }
    bool hasError = false;
};

class CEnd : public IAsyncRunnerListener {
public:
    explicit CEnd(HANDLE ended) : m_ended(ended) {}
    ~CEnd() override { SetEvent(m_ended); }
    void OnFinished() override {}

private:
    HANDLE m_ended;
};

void RunOnWorker(IAsyncOp& operation) {
    const CUniqueHandle ended(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    auto runner = std::make_unique<CAsyncRunner>(true);
    auto listener = std::make_unique<CEnd>(ended.Get());
    runner->AttachListener(listener.get());
    static_cast<void>(listener.release()); // the runner's now
    runner->Start(&operation);
    static_cast<void>(runner.release()); // its worker's now
    WaitForSingleObject(ended.Get(), INFINITE);
}

/// Completes the records, and writes the file with its state change at the end.
class CRecorder : public ISaveObserver {
public:
    explicit CRecorder(CSaved& saved) : m_saved(saved) {}

    void OnScriptStarting(const CDocumentScript& app, unsigned long, CInternalDocumentStore& store) noexcept override {
        Guarded(m_saved.trouble, L"OnScriptStarting", [&] {
            store.SetCurrentAppInfo(ProtectedProgram, app.GetAppFriendlyName(), ProtectedProgram);
            m_first = store.GetSavedDocumentList()->size();
        });
    }
    void OnScriptEnded(const CDocumentScript& app, unsigned long, CInternalDocumentStore& store,
                       long) noexcept override {
        Guarded(m_saved.trouble, L"OnScriptEnded", [&] {
            auto& documents = *store.GetSavedDocumentList();
            for (std::size_t i = m_first; i < documents.size(); ++i) {
                documents[i]->SetSaveScriptName(app.GetScriptName());
                documents[i]->SetRestoreScriptName(app.GetRestoreScript().GetScriptName());
            }
            if (const HRESULT hr = store.WriteInfoFile(); FAILED(hr))
                throw COSException(static_cast<unsigned long>(hr));
        });
    }
    void OnStoreFinished(CInternalDocumentStore& store) noexcept override {
        Guarded(m_saved.trouble, L"OnStoreFinished", [&] {
            m_saved.documents = store.GetSavedDocumentList()->size();
            if (m_saved.documents == 0)
                return;
            store.GetStorageDirectory(m_saved.directory, false);
            CStateChangeInstance change;
            change.SetStateChangeType(Shutdown);
            CDocumentStoreXMLWriter::WriteDocumentStore(&store, &change);
        });
    }

private:
    CSaved& m_saved;
    std::size_t m_first = 0;
};

/// The info file that a record came from.
std::wstring InfoPathOf(const CInternalSavedDocument& record) {
    std::wstring path;
    record.GetDocTempPath(path);
    return path.substr(0, path.rfind(L'\\')) + L"\\info.xml";
}

CScript LoadScript(const std::wstring& folder, const std::wstring& name) {
    CScript script;
    for (const auto& [extension, language] :
         {std::pair(L".vbs", CScript::LangVBScript), std::pair(L".js", CScript::LangJScript)}) {
        script.SetScriptName(name + extension);
        script.SetScriptLang(language);
        if (GetFileAttributesW((folder + L"\\" + script.GetScriptName()).c_str()) != INVALID_FILE_ATTRIBUTES &&
            script.LoadTextFromDirectory(folder))
            return script;
    }
    throw std::runtime_error("a script is missing");
}
} // namespace

CCampaignHost::CCampaignHost(const std::wstring& folder) {
    const CScript save = LoadScript(folder, L"save");
    m_app.SetScriptName(save.GetScriptName());
    m_app.SetScriptLang(save.GetScriptLang());
    m_app.SetText(save.GetText());
    CScript restore = LoadScript(folder, L"restore");
    m_app.SetRestoreScript(restore);
    m_app.SetAppFriendlyName(L"Campaign");
    m_app.SetStateChanges(Shutdown);
    m_app.AddExe(ProtectedProgram);
}

CSaved CCampaignHost::Save() {
    CSaved saved;
    CComObjectNoLock<CChange>* created = nullptr;
    CComObjectNoLock<CChange>::CreateInstance(&created);
    const CComPtr<CComObjectNoLock<CChange>> change(created);
    change->newState = Shutdown;
    CRecorder recorder(saved);
    std::wstring trouble; // the worker has the other one
    Guarded(trouble, L"Save", [&] {
        std::vector<CScript*> scripts{&m_app};
        CSaveOp op;
        op.SetScripts(&scripts);
        op.SetStateChangeInstance(change);
        op.SetObserver(&recorder);
        Guarded(trouble, L"Start", [&] { RunOnWorker(op); });
        saved.result = op.result;
        if (!op.trouble.empty())
            trouble += L" " + op.trouble;
        short hasError = VARIANT_FALSE;
        op.HasError(&hasError);
        saved.hasError = hasError != VARIANT_FALSE;
    });
    saved.trouble += trouble;
    saved.vetoed = change->vetoed != VARIANT_FALSE;
    change.p->AddRef();
    saved.changes = change.p->Release() - 1;
    return saved;
}

CRestored CCampaignHost::Restore() {
    CRestored restored;
    Guarded(restored.trouble, L"Restore", [&] {
        CDocumentStoreHistory& history = CDocumentStoreHistory::GetInstance();
        history.Refresh();
        for (const auto& info : history.GetSavedDocumentInfos()) {
            ++restored.stores;
            for (const auto& document : *info->GetInternalDocumentStore()->GetSavedDocumentList()) {
                if (document->GetStatus() == TEMP_DOCUMENT_RECOVERED)
                    continue;
                ++restored.documents;
                std::wstring trouble;
                bool done = false;
                Guarded(trouble, L"document", [&] {
                    CInternalSavedDocument record = *document;
                    record.SetScript(m_app);
                    CRestoreOp op;
                    op.SetSavedDocument(record);
                    RunOnWorker(op);
                    trouble += op.trouble;
                    done = op.result == S_OK && !op.hasError;
                    document->SetStatus(op.GetSavedDocument().GetStatus());
                    CDocumentStoreXMLWriter(InfoPathOf(record)).WriteDocumentStore(*info);
                });
                if (done && trouble.empty())
                    ++restored.recovered;
                else
                    ++restored.failed;
                restored.trouble += trouble;
            }
        }
    });
    return restored;
}
