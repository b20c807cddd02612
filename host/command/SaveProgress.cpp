#include "SaveProgress.h"

#include "Console.h"
#include "TimeText.h"

#include <utility>

using std::chrono::milliseconds;
using std::chrono::steady_clock;

std::wstring DescribeRun(const CScriptStartedEvent& run) {
    return L"'" + run.script + L"', process " + std::to_wstring(run.processId) + L" of " + run.application;
}

void CSaveProgress::OnEvent(const CWorkerEvent& event) {
    m_status.Clear();
    // An order that cannot be carried out is refused before anything else.
    if (!m_state.empty() && !std::holds_alternative<CWorkerErrorEvent>(event))
        PrintLine(L"state      " + std::exchange(m_state, {}));
    std::visit([this](const auto& kind) { Take(kind); }, event);
}

void CSaveProgress::OnTick(milliseconds stepTime) {
    if (m_running)
        m_status.Show(L"running    " + DescribeRun(*m_running) + L", for " + DescribeSeconds(stepTime));
}

void CSaveProgress::Take(const CWaitingEvent&) {
    PrintLine(L"waiting    another save of this user is running");
}

void CSaveProgress::Take(const CBegunEvent& event) {
    m_changed = event.changed;
}

void CSaveProgress::Take(const CScriptStartedEvent& event) {
    ++m_runCount;
    m_running = event;
    m_runBegin = steady_clock::now();
    PrintLine(L"protected  " + event.application + L", process " + std::to_wstring(event.processId) + L", " +
              event.path);
}

void CSaveProgress::Take(const CMessageEvent& event) {
    // The errors of others are told with the script that met them.
    if (m_everything || (event.logger == L"Quorline.Scripts" && (event.level == L"WARN" || event.level == L"ERROR")))
        PrintLine(L"message    " + event.level + L" " + event.text);
}

void CSaveProgress::Take(const CDocumentReservedEvent& event) {
    if (m_everything)
        PrintLine(L"reserved   " + event.path);
    if (m_running)
        m_documents.push_back({event, *m_running});
}

void CSaveProgress::Take(const CScriptEndedEvent& event) {
    if (!m_running)
        return;
    const auto run = std::exchange(m_running, std::nullopt);
    m_scriptError = event.error;
    PrintLine(L"ran        " + DescribeRun(*run) + L", " +
              DescribeSeconds(std::chrono::duration_cast<milliseconds>(steady_clock::now() - m_runBegin)));
    if (event.vetoed)
        PrintLine(L"vetoed     by " + DescribeRun(*run) + L", which called VetoTransition");
}

void CSaveProgress::Take(const CWorkerErrorEvent& event) {
    m_error = event;
}

void CSaveProgress::Take(const CFinishedEvent& event) {
    m_finished = event;
}
