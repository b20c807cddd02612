#include "Watcher.h"

#include "AppsFile.h"
#include "ExitCode.h"
#include "StoreCatalog.h"
#include "WatchReport.h"

#include <shellapi.h>
#include <shlobj.h>

#include <algorithm>
#include <filesystem>

using std::chrono::milliseconds;

namespace {
// An end that nothing can stop leaves five seconds; what was saved by then has to be on record.
constexpr milliseconds CriticalLimit{4000};

std::wstring Join(const std::vector<std::wstring>& texts) {
    std::wstring joined;
    for (const auto& text : texts)
        joined += (joined.empty() ? L"" : L"; ") + text;
    return joined;
}

std::wstring FileName(const std::wstring& path) {
    return std::filesystem::path(path).filename().wstring();
}

/// How many scripts a save is going to run; 0 when that cannot be told.
std::size_t CountRuns(const CSaveOrder& order) {
    try {
        const _STATE_CHANGE_TYPE state = StateChangeFromName(order.state);
        std::size_t count = 0;
        for (const auto& app : ReadAppsFile(order.appsFile))
            if (app->ShouldRunForStateChange(state))
                count += app->GetProtectedProcIDs().size();
        return count;
    } catch (const std::exception&) {
        return 0; // the save itself says what is wrong
    }
}

DWORD LastInput() {
    LASTINPUTINFO input{sizeof(input), 0};
    return GetLastInputInfo(&input) != FALSE ? input.dwTime : 0;
}

std::wstring LogFile() {
    wchar_t folder[MAX_PATH] = L"";
    SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA, nullptr, 0, folder);
    return std::wstring(folder) + L"\\Morvane\\Talvinor\\Logs\\TalvinorSession.log";
}
} // namespace

CWatcher::CWatcher(const CWatchOptions& options)
    : m_options(options), m_recordPath(WatchRecordPath()), m_window(*this),
      m_icon(m_window.Get(), CWatchWindow::IconMessage) {}

void CWatcher::Run() {
    StartRecord();
    ReportWatchEvent(EVENT_WATCHING, {m_options.appsFile});
    ShowProtected();
    if (m_options.checkpoint.count() != 0)
        m_window.StartTimer(static_cast<unsigned int>(milliseconds(m_options.checkpoint).count()));
    LookForDocuments();
    m_window.Run();
    m_restoreWindow.Close();
    if (!m_sessionEnded)
        ReportWatchEvent(EVENT_STOPPED, {});
}

/// A session whose end nobody announced, or whose end came although it could not be saved, left its last checkpoint.
void CWatcher::StartRecord() {
    m_record = ReadWatchRecord(m_recordPath);
    std::erase_if(m_record.checkpoints, [](const std::wstring& store) {
        return !std::filesystem::exists(std::filesystem::path(StoresDirectory()) / store);
    });
    std::erase_if(m_record.asked, [](const std::wstring& copy) { return !std::filesystem::exists(copy); });
    if (m_record.watching) {
        m_offeredCheckpoint = m_record.checkpoints.empty() ? L"" : m_record.checkpoints.back();
        ReportWatchEvent(EVENT_UNANNOUNCED_END, {m_offeredCheckpoint.empty() ? L"none" : m_offeredCheckpoint});
    }
    m_record.watching = true;
    WriteRecord();
}

void CWatcher::WriteRecord() {
    try {
        WriteWatchRecord(m_recordPath, m_record);
    } catch (const CCommandError& error) {
        ReportWatchEvent(EVENT_TROUBLE, {error.GetText()});
    }
}

void CWatcher::ShowState(WatchState state, const std::wstring& text) {
    m_icon.Show(state, text);
}

void CWatcher::ShowProtected() {
    ShowState(WatchState::Protected,
              IsAnythingProtected() ? L"Quorline protects your documents" : L"No application is protected yet");
}

/// The machine's applications file is missing until an administrator protects something, and the package starts this
/// program before that: nobody's session is held up for it. One that was named, or that is there and cannot be read, is
/// a mistake that may cost documents.
bool CWatcher::IsAnythingProtected() const {
    if (m_options.isAppsFileNamed || GetFileAttributesW(m_options.appsFile.c_str()) != INVALID_FILE_ATTRIBUTES)
        return true;
    const DWORD error = GetLastError();
    return error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND;
}

CSaveOrder CWatcher::Order(const std::wstring& state) const {
    return {state, m_options.appsFile, false, m_options.scriptLimit, milliseconds(0)};
}

// --- saving ---

CSaveOutcome CWatcher::Save(const CSaveOrder& order, Busy busy,
                            const std::function<void(const std::wstring&)>& onScript) {
    const Busy before = std::exchange(m_busy, busy);
    CSaveOutcome outcome = m_saver.Save(order, {onScript, &CWatchWindow::DispatchMessages});
    m_busy = before;
    return outcome;
}

/// False to speak against it.
bool CWatcher::SaveBefore(const std::wstring& what, const CSaveOrder& order, bool canBeStopped) {
    if (m_busy == Busy::Saving)
        return false;
    if (!IsAnythingProtected()) {
        ReportWatchEvent(EVENT_NOTHING_TO_SAVE, {what});
        return true;
    }
    // What goes on quietly does not hold up what is urgent.
    if (m_busy == Busy::Checkpoint)
        m_saver.Abort();
    ShowState(WatchState::Saving, L"Quorline saves your documents");
    m_window.BlockEnd(L"Saving your documents");
    const std::size_t total = CountRuns(order);
    std::size_t count = 0;
    const CSaveOutcome outcome = Save(order, Busy::Saving, [&](const std::wstring& application) {
        std::wstring text = L"Saving " + application;
        if (++count <= total)
            text += L", " + std::to_wstring(count) + L" of " + std::to_wstring(total);
        m_window.BlockEnd(text);
        ShowState(WatchState::Saving, text);
    });
    const std::wstring troubles = Join(outcome.troubles);
    if (!outcome.vetoed) {
        m_window.UnblockEnd();
        ShowProtected();
        if (outcome.documents != 0)
            ReportWatchEvent(EVENT_SAVED, {what, std::to_wstring(outcome.documents), outcome.store});
        else
            ReportWatchEvent(EVENT_NOTHING_TO_SAVE, {what});
        return true;
    }
    ReportWatchEvent(canBeStopped ? EVENT_VETOED : EVENT_SAVE_FAILED, {what, troubles});
    m_window.BlockEnd(troubles.empty() ? L"A document could not be saved" : troubles);
    ShowState(WatchState::Vetoed, L"A document could not be saved: " + troubles);
    return false;
}

bool CWatcher::OnQueryEnd(LPARAM flags) {
    // An installation wants the program's files; the session goes on.
    if ((flags & ENDSESSION_CLOSEAPP) != 0)
        return true;
    CSaveOrder order = Order(L"shutdown");
    const bool critical = (flags & static_cast<LPARAM>(ENDSESSION_CRITICAL)) != 0;
    if (critical)
        order.allLimit = CriticalLimit;
    m_savedForEnd = SaveBefore(L"the end of the session", order, !critical);
    return m_savedForEnd;
}

void CWatcher::OnEnd(bool ends) {
    m_window.UnblockEnd();
    if (!ends) {
        m_savedForEnd = false;
        ReportWatchEvent(EVENT_SESSION_GOES_ON, {});
        return;
    }
    // Ended although it could not be saved, it is left to the checkpoint.
    if (m_savedForEnd) {
        m_record.watching = false;
        WriteRecord();
    }
    ReportWatchEvent(EVENT_SESSION_ENDED, {});
    m_sessionEnded = true;
    PostQuitMessage(0);
}

bool CWatcher::OnQuerySuspend() {
    m_savedForSuspend = SaveBefore(L"standby", Order(L"standby"), true);
    if (!m_savedForSuspend)
        m_window.UnblockEnd();
    return m_savedForSuspend;
}

void CWatcher::OnSuspend() {
    if (m_savedForSuspend)
        return;
    // The machine leaves two seconds. What takes longer stands still with it, and goes on when it wakes.
    m_savedForSuspend = SaveBefore(L"standby", Order(L"standby"), false);
    m_window.UnblockEnd();
}

void CWatcher::OnSuspendRefused() {
    m_savedForSuspend = false;
}

void CWatcher::OnResume() {
    // Of the several messages of one resume, only the first has anything to look for.
    m_savedForSuspend = false;
    if (m_busy != Busy::Saving)
        LookForDocuments();
}

// --- checkpoints ---

void CWatcher::OnTimer() {
    // Nobody has touched the machine since: there is nothing new to save.
    const DWORD input = LastInput();
    if (m_busy != Busy::No || m_inputAtCheckpoint == input || !IsAnythingProtected())
        return;
    m_inputAtCheckpoint = input;
    try {
        MakeCheckpoint();
        ClearCheckpoints();
    } catch (const std::exception& error) {
        ReportWatchEvent(EVENT_CHECKPOINT_FAILED, {DescribeException(error)});
    }
}

void CWatcher::MakeCheckpoint() {
    CSaveOrder order = Order(L"standby");
    order.checkpoint = true;
    const CSaveOutcome outcome = Save(order, Busy::Checkpoint, {});
    if (!outcome.troubles.empty())
        ReportWatchEvent(EVENT_CHECKPOINT_FAILED, {Join(outcome.troubles)});
    if (!outcome.store.empty())
        KeepCheckpoint(FileName(outcome.store));
}

void CWatcher::KeepCheckpoint(const std::wstring& store) {
    const auto all = ReadSavedDocuments();
    const auto count =
        std::count_if(all.begin(), all.end(), [&](const CSavedDocument& document) { return document.store == store; });
    const bool same = !m_record.checkpoints.empty() && HoldSameDocuments(all, store, m_record.checkpoints.back());
    if (count == 0 || same) {
        RemoveStore(store);
        return;
    }
    m_record.checkpoints.push_back(store);
    WriteRecord();
    ReportWatchEvent(EVENT_CHECKPOINT, {std::to_wstring(count), store});
}

void CWatcher::ClearCheckpoints() {
    const auto superseded = FindSuperseded(m_record.checkpoints, ReadSavedDocuments(), m_options.keep);
    std::vector<std::wstring> removed;
    for (const auto& store : superseded)
        if (RemoveStore(store)) {
            std::erase(m_record.checkpoints, store);
            removed.push_back(store);
        }
    if (removed.empty())
        return;
    WriteRecord();
    ReportWatchEvent(EVENT_CHECKPOINTS_CLEARED, {Join(removed)});
}

// --- restoring ---

void CWatcher::LookForDocuments() {
    const auto isOffered = [&](const CSavedDocument& document) {
        const auto& checkpoints = m_record.checkpoints;
        const bool checkpoint = std::find(checkpoints.begin(), checkpoints.end(), document.store) != checkpoints.end();
        const bool asked =
            std::find(m_record.asked.begin(), m_record.asked.end(), document.copy) != m_record.asked.end();
        return !document.recovered && !asked && (!checkpoint || document.store == m_offeredCheckpoint);
    };
    std::vector<CSavedDocument> documents;
    for (const auto& document : ReadSavedDocuments())
        if (isOffered(document))
            documents.push_back(document);
    documents = NewestCopies(documents);
    if (documents.empty())
        return;
    if (m_options.restore == RestoreMode::Always) {
        Restore(documents);
        return;
    }
    if (m_options.restore == RestoreMode::Never)
        return;
    ReportWatchEvent(EVENT_RESTORE_OFFERED, {std::to_wstring(documents.size())});
    m_restoreWindow.Open(L"These documents were saved before the computer went down, and have not been restored yet.",
                         documents,
                         {[this, documents](const std::vector<CSavedDocument>& chosen) {
                              RememberAsked(documents);
                              Restore(chosen);
                          },
                          [this, documents] { RememberAsked(documents); },
                          [](const CSavedDocument& document) {
                              const std::wstring folder = StoresDirectory() + L"\\" + document.store;
                              ShellExecuteW(nullptr, L"explore", folder.c_str(), nullptr, nullptr, SW_SHOWNORMAL);
                          }});
}

void CWatcher::RememberAsked(const std::vector<CSavedDocument>& documents) {
    for (const auto& document : documents)
        m_record.asked.push_back(document.copy);
    m_offeredCheckpoint.clear();
    WriteRecord();
}

void CWatcher::Restore(const std::vector<CSavedDocument>& documents) {
    for (const auto& document : documents) {
        const unsigned long code = RestoreCopy(document.copy, m_options.appsFile, &CWatchWindow::DispatchMessages);
        if (code == static_cast<unsigned long>(ExitCode::Done))
            ReportWatchEvent(EVENT_RESTORED, {document.copy});
        else
            ReportWatchEvent(EVENT_RESTORE_FAILED, {document.copy, std::to_wstring(code)});
    }
}

// --- the icon ---

void CWatcher::ShowHistory() {
    m_restoreWindow.Open(L"Every document in your stores, the newest first. Ticked ones were not recovered yet.",
                         ReadSavedDocuments(),
                         {[this](const std::vector<CSavedDocument>& chosen) { Restore(chosen); }, [] {},
                          [](const CSavedDocument& document) {
                              const std::wstring folder = StoresDirectory() + L"\\" + document.store;
                              ShellExecuteW(nullptr, L"explore", folder.c_str(), nullptr, nullptr, SW_SHOWNORMAL);
                          }});
}

void CWatcher::OnIcon(UINT mouse) {
    if (mouse == WM_LBUTTONDBLCLK) {
        ShowHistory();
        return;
    }
    if (mouse != WM_RBUTTONUP)
        return;
    switch (m_icon.AskCommand()) {
    case CNotifyIcon::Command::History:
        ShowHistory();
        break;
    case CNotifyIcon::Command::Log:
        ShellExecuteW(nullptr, L"open", L"notepad.exe", (L"\"" + LogFile() + L"\"").c_str(), nullptr, SW_SHOWNORMAL);
        break;
    case CNotifyIcon::Command::None:
        break;
    }
}

void CWatcher::OnNewTaskbar() {
    m_icon.ShowAgain();
}
