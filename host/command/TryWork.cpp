#include "TryWork.h"

#include "Components.h"
#include "ExitCode.h"
#include "InternalSavedDocument.h"
#include "JsonWide.h"
#include "LogRelay.h"
#include "OperationThread.h"
#include "ProcessPath.h"
#include "RestoreOperation.h"
#include "protection/ProcessInfo.h"

using nlohmann::json;

namespace {
/// A protected application that is one process.
class CProcessScript : public CDocumentScript {
public:
    CProcessScript(const CScript& script, unsigned long processId) : m_processId(processId) {
        static_cast<CScript&>(*this) = script;
        SetStateChanges(Standby | Hibernate | Shutdown);
    }

private:
    bool IsMatchingProcess(const CProcessInfo& process) const override { return process.m_processId == m_processId; }
    bool IsMatchingWindow(const CWindowInfo&) const override { return false; }

    unsigned long m_processId;
};

std::wstring FileName(const std::wstring& path) {
    return path.substr(path.find_last_of(L'\\') + 1);
}

CSaveResult TrySave(const CScript& script, unsigned long processId, IWorkerEvents& events) {
    ProtectedApps apps;
    apps.push_back(std::make_unique<CProcessScript>(script, processId));
    apps.back()->SetAppFriendlyName(FileName(PathOfProcess(processId)));
    CSaveResult result = SaveApps(apps, Hibernate, events);
    if (!result.hasRun && result.troubles.empty())
        throw CCommandError(ExitCode::Failed,
                            L"the process " + std::to_wstring(processId) + L" is gone; start the application again.");
    return result;
}

CSaveResult TryRestore(const CScript& script, const CTryOrder& order, IWorkerEvents& events) {
    const std::wstring program = PathOfProcess(order.processId);
    CInternalSavedDocument document;
    document.SetDocName(FileName(order.originalPath));
    document.SetDocOriginalPath(order.originalPath);
    document.SetDocTempPath(order.document);
    document.SetAppExeImageName(FileName(program));
    document.SetAppPath(program);
    document.SetRestoreScriptName(script.GetScriptName());
    CDocumentScript app;
    app.SetRestoreScript(script);
    document.SetScript(app);

    const CLogRelay relay({"Quorline.Scripts"}, [&](const CMessageEvent& line) { events.Report(line); });
    CScriptStartedEvent started;
    started.application = started.imageName = FileName(program);
    started.processId = order.processId;
    started.path = program;
    started.script = script.GetScriptName();
    events.Report(started);
    CRestoreOperation op([] {});
    op.SetSavedDocument(document);
    RunOnWorker(op);

    CScriptEndedEvent ended;
    ended.failed = !op.GetFailure().empty();
    if (const auto& error = op.GetError())
        ended.error = CScriptErrorData{error->source,    error->description, error->line,
                                       error->character, error->number,      error->reason};
    events.Report(ended);
    CSaveResult result;
    result.hasRun = true;
    if (ended.failed)
        result.troubles.push_back(op.GetFailure());
    return result;
}
} // namespace

CSaveResult DoTry(const CTryOrder& order, IWorkerEvents& events) {
    const CScript script = ReadScriptFile(order.script);
    const CHostApartment apartment;
    RequireComponents();
    return order.document.empty() ? TrySave(script, order.processId, events) : TryRestore(script, order, events);
}

json ToJson(const CTryOrder& order) {
    return {{"script", order.script},
            {"processId", order.processId},
            {"document", order.document},
            {"originalPath", order.originalPath}};
}

CTryOrder TryOrderFromJson(const json& value) {
    return {value.at("script").get<std::wstring>(), value.at("processId").get<unsigned long>(),
            value.at("document").get<std::wstring>(), value.at("originalPath").get<std::wstring>()};
}
