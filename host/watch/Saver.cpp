#include "Saver.h"

#include "ExitCode.h"
#include "OwnProgram.h"
#include "SaveInWorker.h"
#include "base/UniqueHandle.h"

#include <algorithm>
#include <utility>

namespace {
/// The command, beside whichever program of ours runs: that one may have no console.
std::wstring CommandProgram() {
    const std::wstring own = OwnProgram();
    return own.substr(0, own.find_last_of(L'\\') + 1) + L"quorline.exe";
}

CSaveOutcome OutcomeOf(const CSaveResult& result) {
    CSaveOutcome outcome;
    outcome.vetoed = result.vetoed || !result.troubles.empty();
    outcome.store = result.directory;
    outcome.documents = static_cast<std::size_t>(
        std::count_if(result.documents.begin(), result.documents.end(), [](const auto& each) { return each.written; }));
    outcome.troubles = result.troubles;
    return outcome;
}
} // namespace

CSaveOutcome CSaver::Save(const CSaveOrder& order, const CSaveWatch& watch) {
    const unsigned long outer = m_worker;
    CSaveOutcome outcome;
    try {
        CStatusLine none(0, [](std::string_view) {});
        CSaveProgress progress(order.state, none);
        CSaveRun run{{order.state, order.appsFile, order.checkpoint}, {order.scriptLimit, order.allLimit}};
        run.watch.onMessages = watch.onMessages;
        run.watch.onEvent = [&](const CWorkerEvent& event) {
            if (const auto* started = std::get_if<CScriptStartedEvent>(&event); started != nullptr && watch.onScript)
                watch.onScript(started->application);
        };
        run.onStarted = [&](unsigned long id) { m_worker = id; };
        run.program = CommandProgram();
        outcome = OutcomeOf(SaveInWorker(run, progress));
    } catch (const CCommandError& error) {
        outcome.vetoed = true;
        outcome.troubles = {error.GetText()};
    } catch (const std::exception&) {
        outcome.vetoed = true;
        outcome.troubles = {L"the save failed; there may be too little memory"};
    }
    m_worker = outer;
    return outcome;
}

void CSaver::Abort() {
    const CUniqueHandle worker(OpenProcess(PROCESS_TERMINATE, FALSE, m_worker));
    if (m_worker != 0 && worker)
        TerminateProcess(worker.Get(), static_cast<UINT>(ExitCode::Failed));
}

unsigned long RestoreCopy(const std::wstring& copy, const std::wstring& appsFile,
                          const std::function<void()>& onMessages) {
    const std::wstring program = CommandProgram();
    std::wstring line = L"\"" + program + L"\" restore \"" + copy + L"\" --apps \"" + appsFile + L"\"";
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    if (CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr, nullptr,
                       &startup, &started) == FALSE)
        return static_cast<unsigned long>(ExitCode::Failed);
    const CUniqueHandle process(started.hProcess);
    const CUniqueHandle thread(started.hThread);
    HANDLE waited = process.Get();
    while (MsgWaitForMultipleObjects(1, &waited, FALSE, INFINITE, QS_ALLINPUT) == WAIT_OBJECT_0 + 1)
        onMessages();
    DWORD code = static_cast<DWORD>(ExitCode::Failed);
    GetExitCodeProcess(process.Get(), &code);
    return code;
}
