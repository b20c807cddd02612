#include "AppsOption.h"
#include "Commands.h"
#include "Console.h"
#include "JsonText.h"
#include "LimitOptions.h"
#include "RestoreScripts.h"
#include "RestoreSelection.h"
#include "RestoreWork.h"
#include "StatusLine.h"
#include "StoreFiles.h"
#include "TimeText.h"
#include "WorkerCommand.h"
#include "WorkerProcess.h"

namespace {
using nlohmann::ordered_json;

/// How one document fared.
struct COutcome {
    const char* kind = "restored"; ///< or "failed" or "missing"
    std::wstring trouble;
};

/// Restores the selected documents one after another, in one worker after another: a script that takes too long, or
/// that breaks its worker down, costs no other document its turn.
class CRestoreRun {
public:
    CRestoreRun(const CRestoreRequest& request, const CWorkerLimits& limits,
                const std::vector<CSelectedDocument>& documents)
        : m_request(request), m_limits(limits), m_end(Clock::now() + limits.all), m_documents(documents) {}

    /// Throws CCommandError when nothing could be run.
    std::vector<COutcome> Run() {
        while (m_outcomes.size() < m_documents.size())
            RunWorker();
        return m_outcomes;
    }

private:
    using Clock = std::chrono::steady_clock;

    void RunWorker();
    void OnEvent(const CWorkerEvent& event);
    void OnTick(std::chrono::milliseconds time);
    void OnDocument(const CScriptStartedEvent& event);
    void GiveUp(const std::wstring& why, bool all);
    void Add(const COutcome& outcome);

    const CRestoreRequest& m_request;
    CWorkerLimits m_limits;
    Clock::time_point m_end;
    const std::vector<CSelectedDocument>& m_documents;
    CStatusLine m_status = CStatusLine::OfConsole();
    std::vector<COutcome> m_outcomes;
    std::size_t m_first = 0; ///< of the present worker's documents
    std::optional<CScriptStartedEvent> m_running;
    std::optional<CWorkerErrorEvent> m_error;
};

void CRestoreRun::RunWorker() {
    CRestoreOrder order{m_request.appsFile, m_request.script, {}};
    m_first = m_outcomes.size();
    for (std::size_t i = m_first; i < m_documents.size(); ++i)
        order.documents.push_back({m_documents[i].store->name, m_documents[i].index});
    CWorkerProcess worker(MakeOrder("restore", ToJson(order)));
    if (m_limits.all.count() != 0)
        m_limits.all =
            std::max(std::chrono::ceil<std::chrono::milliseconds>(m_end - Clock::now()), std::chrono::milliseconds(1));
    const CWorkerEnd end = worker.Run(m_limits, {[this](const CWorkerEvent& event) { OnEvent(event); },
                                                 [this](std::chrono::milliseconds time) { OnTick(time); }});
    m_status.Clear();
    if (m_error && m_outcomes.empty() && !m_running)
        throw CCommandError(static_cast<ExitCode>(m_error->exitCode), m_error->text);
    if (m_error)
        GiveUp(m_error->text, true);
    else if (end.kind != CWorkerEnd::Kind::Finished)
        GiveUp(end.Describe(), end.kind != CWorkerEnd::Kind::StepLimit && end.kind != CWorkerEnd::Kind::Died);
    else if (m_outcomes.size() < m_documents.size())
        GiveUp(L"its worker left it out", true);
}

void CRestoreRun::OnEvent(const CWorkerEvent& event) {
    m_status.Clear();
    if (const auto* started = std::get_if<CScriptStartedEvent>(&event)) {
        OnDocument(*started);
    } else if (const auto* message = std::get_if<CMessageEvent>(&event)) {
        if (message->logger == L"Quorline.Scripts" && (message->level == L"WARN" || message->level == L"ERROR"))
            PrintLine(L"message    " + message->level + L" " + message->text);
    } else if (const auto* ended = std::get_if<CScriptEndedEvent>(&event)) {
        Add({!ended->failed ? "restored" : ended->missing ? "missing" : "failed", ended->trouble});
    } else if (const auto* error = std::get_if<CWorkerErrorEvent>(&event)) {
        m_error = *error;
    }
}

void CRestoreRun::OnTick(std::chrono::milliseconds time) {
    if (m_running)
        m_status.Show(L"running    '" + m_running->script + L"', for " + DescribeSeconds(time));
}

void CRestoreRun::OnDocument(const CScriptStartedEvent& event) {
    m_running = event;
    PrintLine(L"restoring  " + std::to_wstring(m_first + event.document + 1) + L" of " +
              std::to_wstring(m_documents.size()) + L": " + event.path);
}

/// What the worker leaves undone: the document whose turn it was or would have been, or all that are left.
void CRestoreRun::GiveUp(const std::wstring& why, bool all) {
    const std::wstring what = m_running ? L"'" + m_running->script + L"'" : L"the restore";
    Add({"failed", what + L" did not come to its end: " + why});
    while (all && m_outcomes.size() < m_documents.size())
        m_outcomes.push_back({"failed", L"its turn did not come"});
}

void CRestoreRun::Add(const COutcome& outcome) {
    m_running.reset();
    m_outcomes.push_back(outcome);
    if (!outcome.trouble.empty())
        PrintLine((outcome.kind == std::string_view("missing") ? L"missing    " : L"failed     ") + outcome.trouble);
}

std::vector<CStoreEntry> ReadAllStores() {
    std::vector<CStoreEntry> stores = ReadStores();
    PrintUnreadable(stores);
    AddStoresWithoutRecord(stores);
    return stores;
}

std::size_t Count(const std::vector<COutcome>& outcomes, std::string_view kind) {
    return static_cast<std::size_t>(
        std::count_if(outcomes.begin(), outcomes.end(), [&](const auto& outcome) { return outcome.kind == kind; }));
}

void PrintSummary(const CRestoreSelection& selection, const std::vector<COutcome>& outcomes) {
    if (outcomes.empty())
        PrintLine(L"nothing to restore");
    else
        PrintLine(L"done       " + std::to_wstring(Count(outcomes, "restored")) + L" of " +
                  std::to_wstring(outcomes.size()) + L" documents restored");
    const auto list = [&](std::string_view kind, const wchar_t* word) {
        for (std::size_t i = 0; i < outcomes.size(); ++i)
            if (outcomes[i].kind == kind)
                PrintLine(word + selection.documents[i].SavedCopy());
    };
    list("failed", L"not restored  ");
    list("missing", L"missing       ");
    for (const auto& older : selection.older)
        PrintLine(L"older         " + older.SavedCopy());
    for (const auto& path : selection.unrecorded)
        PrintLine(L"unrecorded    " + path);
}

void PrintData(const std::vector<CStoreEntry>& stores, const CRestoreSelection& selection,
               const std::vector<COutcome>& outcomes) {
    ordered_json documents = ordered_json::array();
    const auto add = [&](const CSelectedDocument& document, const char* kind, const std::wstring& trouble) {
        documents.push_back({{"store", ToUtf8(document.store->name)},
                             {"savedCopy", ToUtf8(document.SavedCopy())},
                             {"outcome", kind},
                             {"trouble", ToUtf8(trouble)}});
    };
    for (std::size_t i = 0; i < outcomes.size(); ++i)
        add(selection.documents[i], outcomes[i].kind, outcomes[i].trouble);
    for (const auto& older : selection.older)
        add(older, "older", L"");
    ordered_json unreadable = ordered_json::array();
    for (const auto& store : stores)
        if (!store.info)
            unreadable.push_back({{"store", ToUtf8(store.name)}, {"problem", ToUtf8(store.problem)}});
    ordered_json unrecorded = ordered_json::array();
    for (const auto& path : selection.unrecorded)
        unrecorded.push_back(ToUtf8(path));
    PrintJson({{"documents", std::move(documents)},
               {"unreadable", std::move(unreadable)},
               {"unrecorded", std::move(unrecorded)}});
}
} // namespace

ExitCode RunRestore(const CRestoreRequest& request, const CWorkerLimits& limits) {
    if (!request.all && !request.latest && request.target.empty())
        throw CCommandError(ExitCode::BadInput, L"name a store or a document, or give --all or --latest.");
    const CRestoreScripts scripts(request.appsFile,
                                  request.script); // what is wrong with them is told before anything is done

    auto stores = ReadAllStores();
    const CRestoreSelection selection = SelectDocuments(stores, request);
    const auto outcomes = CRestoreRun(request, limits, selection.documents).Run();
    if (request.json)
        PrintData(stores, selection, outcomes);
    else
        PrintSummary(selection, outcomes);
    return Count(outcomes, "restored") == outcomes.size() ? ExitCode::Done : ExitCode::Failed;
}

void AddRestore(CCommandLine& line) {
    const auto request = std::make_shared<CRestoreRequest>();
    const auto limits = std::make_shared<CWorkerLimits>();
    CLI::App& command =
        line.Add({"restore",
                  "Run the restore scripts of saved documents",
                  {"restore --all", "restore Letter --with restore.js"},
                  {ExitCode::Done, ExitCode::Failed, ExitCode::NotRegistered},
                  R"({"documents": [{"store", "savedCopy", "outcome": "restored", "failed", "missing" or "older",)"
                  R"( "trouble"}], "unreadable": [{"store", "problem"}], "unrecorded": []})"},
                 [=](const CCommonOptions& options) {
                     request->json = options.json;
                     return RunRestore(*request, *limits);
                 });
    auto* all = command.add_flag("--all", request->all, "Every document that was not recovered yet");
    command.add_flag("--latest", request->latest, "Of each document nothing but its newest copy");
    AddText(command, "target", request->target, "A store, or one document (again, if it was restored before)")
        ->excludes(all);
    AddAppsOption(command, request->appsFile);
    AddText(command, "--with", request->script, "Run this restore script for each document, whatever its record says");
    AddLimits(command, *limits);
}
