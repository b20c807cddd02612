#pragma once

// What the parent of a save's worker makes of the events: it prints how the save goes, and keeps what it takes to
// complete the record of a save that was ended.

#include "StatusLine.h"
#include "WorkerProcess.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

/// A document that a script asked for, and the run in which it did.
struct CReservedDocument {
    CDocumentReservedEvent document;
    CScriptStartedEvent run;
};

class CSaveProgress {
public:
    /// The state by the name that it was asked for.
    CSaveProgress(std::wstring state, CStatusLine& status) : m_state(std::move(state)), m_status(status) {}

    /// Has every line of the log that comes printed, and every reservation.
    void ShowEverything() { m_everything = true; }

    void OnEvent(const CWorkerEvent& event);
    void OnTick(std::chrono::milliseconds stepTime);

    /// Whether the state change was announced: what keeps the save from its end vetoes from then on.
    bool HasBegun() const { return m_changed != 0; }
    /// When it was: 100 ns since 1601, UTC.
    std::uint64_t GetChanged() const { return m_changed; }
    std::size_t GetRunCount() const { return m_runCount; }
    /// Of the last script that ended, if it failed and an engine said why.
    const std::optional<CScriptErrorData>& GetScriptError() const { return m_scriptError; }
    /// The script that has started and not ended.
    const std::optional<CScriptStartedEvent>& GetRunning() const { return m_running; }
    const std::vector<CReservedDocument>& GetDocuments() const { return m_documents; }
    /// Why no result came, where the worker says so.
    const std::optional<CWorkerErrorEvent>& GetError() const { return m_error; }
    const std::optional<CFinishedEvent>& GetFinished() const { return m_finished; }

private:
    void Take(const CWaitingEvent&);
    void Take(const CBegunEvent& event);
    void Take(const CScriptStartedEvent& event);
    void Take(const CMessageEvent& event);
    void Take(const CDocumentReservedEvent& event);
    void Take(const CScriptEndedEvent& event);
    void Take(const CWorkerErrorEvent& event);
    void Take(const CFinishedEvent& event);

    std::wstring m_state; ///< empty once it was printed
    CStatusLine& m_status;
    std::uint64_t m_changed = 0;
    std::size_t m_runCount = 0;
    bool m_everything = false;
    std::optional<CScriptErrorData> m_scriptError;
    std::chrono::steady_clock::time_point m_runBegin;
    std::optional<CScriptStartedEvent> m_running;
    std::vector<CReservedDocument> m_documents;
    std::optional<CWorkerErrorEvent> m_error;
    std::optional<CFinishedEvent> m_finished;
};

/// "'save.vbs', process 420 of Notepad"
std::wstring DescribeRun(const CScriptStartedEvent& run);
