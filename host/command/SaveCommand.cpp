#include "AppsFile.h"
#include "Commands.h"
#include "Components.h"
#include "Console.h"
#include "HostLog.h"
#include "HostStateChange.h"
#include "OperationThread.h"
#include "SaveOperation.h"
#include "SaveRecorder.h"
#include "SaveRequest.h"
#include "SaveTurn.h"
#include "StoreCatalog.h"

namespace {
FILETIME TimeOf(IStateChangeInstance* change) {
    hyper ticks = 0;
    change->get_Timestamp(&ticks);
    return {static_cast<DWORD>(ticks & 0xFFFFFFFF), static_cast<DWORD>(ticks >> 32)};
}

/// Why the operation did not come to its end; empty when it did.
std::wstring RunToEnd(CSaveOperation& op, const ProtectedApps& apps, IStateChangeInstance* change) {
    std::vector<CScript*> scripts;
    for (const auto& app : apps)
        scripts.push_back(app.get());
    try {
        op.SetScripts(&scripts);
        op.SetStateChangeInstance(change);
        RunOnWorker(op);
    } catch (const std::exception& error) {
        return DescribeException(error);
    }
    return op.GetFailure();
}

/// How many of the documents that scripts asked for are not there.
std::size_t PrintDocuments(const CSaveRecorder& recorder) {
    std::size_t unwritten = 0;
    if (!recorder.GetDirectory().empty())
        PrintLine(L"store      " + recorder.GetDirectory());
    for (const auto& path : recorder.GetDocuments()) {
        const bool there = GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
        PrintLine((there ? L"saved      " : L"not saved  ") + path);
        unwritten += there ? 0 : 1;
    }
    return unwritten;
}

/// What speaks against the state change, one line each.
std::vector<std::wstring> CollectTroubles(CSaveOperation& op, const std::wstring& failure,
                                          const CSaveRecorder& recorder) {
    std::vector<std::wstring> troubles;
    if (const auto error = op.TakeScriptError())
        troubles.push_back(error->Describe());
    if (!failure.empty())
        troubles.push_back((recorder.GetFailedRun().empty() ? L"the save" : recorder.GetFailedRun()) +
                           L" did not come to its end: " + failure + L"; the log says more");
    if (!recorder.GetProblem().empty())
        troubles.push_back(L"the record of the store '" + recorder.GetDirectory() + L"' could not be completed: " +
                           recorder.GetProblem());
    return troubles;
}

} // namespace

ExitCode RunSave(const CSaveRequest& request) {
    const _STATE_CHANGE_TYPE state = StateChangeFromName(request.state);
    const ProtectedApps apps = ReadAppsFile(request.appsFile);
    const CHostApartment apartment;
    RequireComponents();

    PrintLine(L"state      " + request.state);
    const CSaveTurn turn;
    const CComPtr<IStateChangeInstance> change = CHostStateChange::Announce(state);
    CSaveRecorder recorder(state, TimeOf(change));
    CSaveOperation op;
    op.SetObserver(&recorder);
    const std::wstring failure = RunToEnd(op, apps, change);

    if (recorder.GetRunCount() == 0)
        PrintLine(L"protected  nothing: no protected application is running");
    const std::size_t unwritten = PrintDocuments(recorder);
    for (const auto& trouble : CollectTroubles(op, failure, recorder)) {
        // The library vetoes for a failing script; whatever else went wrong, nobody would know that it must not go on.
        change->put_Vetoed(VARIANT_TRUE);
        LogHostError(L"The state change is vetoed: " + trouble);
        PrintLine(L"failed     " + trouble);
    }
    VARIANT_BOOL vetoed = VARIANT_FALSE;
    change->get_Vetoed(&vetoed);
    if (unwritten != 0)
        PrintError(L"warning: " + std::to_wstring(unwritten) + L" of " +
                   std::to_wstring(recorder.GetDocuments().size()) +
                   L" documents were never written by the script that asked for them; look for \"not saved\"");
    if (vetoed != VARIANT_FALSE) {
        PrintLine(L"vetoed     the machine must not enter " + request.state);
        return ExitCode::Vetoed;
    }
    PrintLine(L"done       the machine may enter " + request.state);
    return unwritten != 0 ? ExitCode::Unwritten : ExitCode::Done;
}

void AddSave(CCommandLine& line) {
    const auto request = std::make_shared<CSaveRequest>();
    CLI::App& command =
        line.Add({"save",
                  "Run the save scripts of the running protected applications",
                  {"save --state hibernate --apps apps.json"},
                  {ExitCode::Done, ExitCode::Failed, ExitCode::Vetoed, ExitCode::NotRegistered, ExitCode::Unwritten}},
                 [request](const CCommonOptions&) { return RunSave(*request); });
    AddText(command, "--state", request->state, "The state the machine is about to enter, such as hibernate")
        ->required();
    AddText(command, "--apps", request->appsFile, "JSON file that lists the protected applications")->required();
}
