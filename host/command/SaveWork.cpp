#include "SaveWork.h"

#include "AppsFile.h"
#include "Components.h"
#include "HostLog.h"
#include "HostStateChange.h"
#include "JsonWide.h"
#include "LogRelay.h"
#include "OperationThread.h"
#include "SaveOperation.h"
#include "SaveRecorder.h"
#include "SaveTurn.h"
#include "StoreCatalog.h"

using nlohmann::json;

namespace {
constexpr const char* ScriptLogger = "Quorline.Scripts";
/// Says something at each reservation, on the thread of the script, when the record is in the store already.
constexpr const char* StoreLogger = "Quorline.InternalDocumentStore";

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

/// What speaks against the state change, one line each.
std::vector<std::wstring> CollectTroubles(CSaveOperation& op, const std::wstring& failure,
                                          const CSaveRecorder& recorder) {
    std::vector<std::wstring> troubles;
    if (auto error = op.TakeScriptError()) {
        error->processId = recorder.GetProcessId();
        troubles.push_back(error->Describe());
    }
    if (!failure.empty())
        troubles.push_back((recorder.GetFailedRun().empty() ? L"the save" : recorder.GetFailedRun()) +
                           L" did not come to its end: " + failure + PointToLog());
    if (!recorder.GetProblem().empty())
        troubles.push_back(L"the record of the store '" + recorder.GetDirectory() + L"' could not be completed: " +
                           recorder.GetProblem());
    return troubles;
}

/// Why no script has run.
std::wstring DescribeIdleness(const ProtectedApps& apps, _STATE_CHANGE_TYPE state, const std::wstring& stateName) {
    std::size_t running = 0;
    bool wanted = false;
    for (const auto& app : apps) {
        const std::size_t processes = app->GetProtectedProcIDs().size();
        running += processes;
        wanted = wanted || (processes != 0 && app->ShouldRunForStateChange(state));
    }
    if (running == 0)
        return L"no protected application is running";
    const std::wstring count = std::to_wstring(running) + (running == 1 ? L" is running, but " : L" are running, but ");
    return count + (wanted ? L"scripts run before standby, hibernate and shutdown alone"
                           : L"none is protected for " + stateName);
}
} // namespace

CSaveResult DoSave(const CSaveRequest& request, IWorkerEvents& events) {
    const _STATE_CHANGE_TYPE state = StateChangeFromName(request.state);
    const ProtectedApps apps = ReadAppsFile(AppsFileOf(request.appsFile));
    const CHostApartment apartment;
    RequireComponents();
    // Read by the session object, which the library makes in this process.
    SetEnvironmentVariableW(L"QUORLINE_CHECKPOINT", request.checkpoint ? L"1" : nullptr);
    CSaveResult result = SaveApps(apps, state, events);
    if (!result.hasRun)
        result.idle = DescribeIdleness(apps, state, request.state);
    return result;
}

CSaveResult SaveApps(const ProtectedApps& apps, _STATE_CHANGE_TYPE state, IWorkerEvents& events) {
    const CSaveTurn turn([&] { events.Report(CWaitingEvent()); });
    const CComPtr<CHostStateChange> change = CHostStateChange::Announce(state);
    events.Report(CBegunEvent{change->GetTime()});
    CSaveOperation op;
    CSaveRecorder recorder(*change, op, events);
    const CLogRelay relay({ScriptLogger, StoreLogger}, [&](const CMessageEvent& line) {
        recorder.ReportDocuments();
        if (line.logger != FromUtf8(StoreLogger) || line.level == L"ERROR")
            events.Report(line);
    });
    op.SetObserver(&recorder);
    const std::wstring failure = RunToEnd(op, apps, change);

    CSaveResult result;
    result.directory = recorder.GetDirectory();
    for (const auto& path : recorder.GetDocuments())
        result.documents.push_back({path, GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES});
    result.troubles = CollectTroubles(op, failure, recorder);
    result.vetoed = change->IsVetoed();
    result.hasRun = recorder.GetProcessId() != 0;
    return result;
}

json ToJson(const CSaveRequest& request) {
    return {{"state", request.state}, {"apps", request.appsFile}, {"checkpoint", request.checkpoint}};
}

CSaveRequest SaveRequestFromJson(const json& value) {
    return {value.at("state").get<std::wstring>(), value.at("apps").get<std::wstring>(),
            value.at("checkpoint").get<bool>()};
}

json ToJson(const CSaveResult& result) {
    json documents = json::array();
    for (const auto& document : result.documents)
        documents.push_back({{"path", document.path}, {"written", document.written}});
    return {{"directory", result.directory}, {"documents", documents}, {"troubles", result.troubles},
            {"hasRun", result.hasRun},       {"idle", result.idle},    {"vetoed", result.vetoed}};
}

CSaveResult SaveResultFromJson(const json& value) {
    CSaveResult result;
    value.at("directory").get_to(result.directory);
    for (const auto& document : value.at("documents"))
        result.documents.push_back({document.at("path").get<std::wstring>(), document.at("written").get<bool>()});
    value.at("troubles").get_to(result.troubles);
    value.at("hasRun").get_to(result.hasRun);
    value.at("idle").get_to(result.idle);
    value.at("vetoed").get_to(result.vetoed);
    return result;
}
