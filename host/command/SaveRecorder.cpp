#include "SaveRecorder.h"

#include "ExitCode.h"
#include "InternalDocumentStore.h"
#include "InternalSavedDocument.h"

CSaveRecorder::CSaveRecorder(const ProtectedApps& apps, _STATE_CHANGE_TYPE state) : m_apps(apps), m_state(state) {
    for (const auto& name : ListStores())
        m_before.insert(name);
    SetSessionObserver(this);
}

CSaveRecorder::~CSaveRecorder() {
    SetSessionObserver(nullptr);
}

void CSaveRecorder::OnProcessRequested(DWORD processId, const wchar_t* path) noexcept {
    try {
        const auto store = FindNewStore();
        const std::size_t saved = store ? store->Documents().size() : 0;
        m_runs.push_back({processId, path, NextApp(processId), saved});
    } catch (const std::exception&) {
        // A document that cannot be told apart keeps the record that the library wrote; saving goes on.
    }
}

/// Scripts run application by application, and within one by ascending process identifier; so a process that does not
/// come after the last one, or that is not the current application's, begins the next application.
const CDocumentScript* CSaveRecorder::NextApp(DWORD processId) {
    const bool ascends = m_runs.empty() || processId > m_runs.back().processId;
    for (std::size_t i = ascends ? m_currentApp : m_currentApp + 1; i < m_apps.size(); ++i) {
        CDocumentScript& app = *m_apps[i];
        if (!app.ShouldRunForStateChange(m_state) || app.GetProtectedProcIDs().count(processId) == 0)
            continue;
        m_currentApp = i;
        return &app;
    }
    return nullptr;
}

std::optional<CStoreEntry> CSaveRecorder::FindNewStore() const {
    std::vector<std::wstring> fresh;
    for (const auto& name : ListStores())
        if (m_before.count(name) == 0)
            fresh.push_back(name);
    if (fresh.empty())
        return std::nullopt;
    if (fresh.size() > 1)
        throw CCommandError(ExitCode::Failed,
                            L"another save ran at the same time; its documents cannot be told apart.");
    return ReadStore(fresh.front());
}

std::optional<CStoreEntry> CSaveRecorder::Complete(const FILETIME& changed) {
    auto store = FindNewStore();
    if (!store)
        return std::nullopt;
    if (!store->info)
        throw CCommandError(ExitCode::Failed, L"the store '" + store->name + L"' cannot be read: " + store->problem);

    const auto documents = store->Documents();
    for (std::size_t i = 0; i < documents.size(); ++i) {
        const CRun* origin = nullptr;
        for (const auto& run : m_runs)
            if (run.firstDocument <= i)
                origin = &run;
        if (origin == nullptr || origin->app == nullptr)
            continue;
        documents[i]->SetScript(*origin->app);
        documents[i]->SetAppPath(origin->path);
        documents[i]->SetAppExeImageName(origin->path.substr(origin->path.find_last_of(L'\\') + 1));
    }
    // Only the two kinds of shutdown can be written down.
    CStateChangeInstance* change = store->info->GetStateChangeInstance();
    change->SetStateChangeType(m_state);
    change->SetUTCTimestamp(m_state == Shutdown || m_state == ForceShutdown ? changed : FILETIME{});
    WriteStore(*store);
    return store;
}
