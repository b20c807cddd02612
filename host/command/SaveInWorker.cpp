#include "SaveInWorker.h"

#include "AppsText.h"
#include "ExitCode.h"
#include "InterruptedSave.h"
#include "WorkerCommand.h"

namespace {
/// Why a save that its worker did not finish is no more.
std::wstring DescribeEnd(const CSaveProgress& progress, const CWorkerEnd& end) {
    const std::wstring what = progress.GetRunning() ? DescribeRun(*progress.GetRunning()) : L"the save";
    if (progress.GetError())
        return what + L" did not come to its end: " + progress.GetError()->text;
    return what + L" did not come to its end: " + end.Describe();
}

/// Runs the worker until it has ended, or has to be.
CWorkerEnd RunWorkerFor(const CSaveRun& run, CSaveProgress& progress) {
    CWorkerProcess worker(MakeOrder("save", ToJson(run.request)), run.program);
    if (run.onStarted)
        run.onStarted(worker.Id());
    CWorkerWatch watch = run.watch;
    watch.onEvent = [&](const CWorkerEvent& event) {
        progress.OnEvent(event);
        if (run.watch.onEvent)
            run.watch.onEvent(event);
    };
    return worker.Run(run.limits, watch);
}
} // namespace

CSaveResult SaveInWorker(const CSaveRun& run, CSaveProgress& progress) {
    const _STATE_CHANGE_TYPE state = StateChangeFromName(run.request.state);
    std::wstring end;
    try {
        end = DescribeEnd(progress, RunWorkerFor(run, progress));
    } catch (const CCommandError& error) {
        end = error.GetText();
    }
    if (progress.GetFinished())
        return SaveResultFromJson(progress.GetFinished()->result);
    if (progress.GetError() && !progress.HasBegun())
        throw CCommandError(static_cast<ExitCode>(progress.GetError()->exitCode), progress.GetError()->text);
    CSaveResult result = CompleteInterruptedSave(progress, state);
    result.troubles.insert(result.troubles.begin(), end);
    return result;
}
