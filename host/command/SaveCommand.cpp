#include "AppsFile.h"
#include "Commands.h"
#include "Components.h"
#include "Console.h"
#include "HostStateChange.h"
#include "InternalSavedDocument.h"
#include "OperationThread.h"
#include "SaveRecorder.h"
#include "ScriptError.h"
#include "ScriptExecution/StateChangeScriptOp.h"
#include "logging/Exceptions.h"

namespace {
/// The runner neither looks at the result of Run nor survives an exception out of it; the command wants both.
class CSaveOp : public CStateChangeScriptOp {
public:
    long Run() override {
        try {
            m_result = CStateChangeScriptOp::Run();
        } catch (const CMorvaneException&) {
            // Logged where it was thrown; the result stays a failure.
        }
        return m_result;
    }

    long GetResult() const { return m_result; }

private:
    long m_result = E_FAIL;
};

CScriptError TakeError(CSaveOp& op) {
    CComBSTR script;
    CComBSTR source;
    CComBSTR description;
    CScriptError error;
    op.GetErrorInfo(&script, &source, &description, &error.line, &error.character);
    const auto text = [](const CComBSTR& value) { return std::wstring(value.m_str ? value.m_str : L""); };
    error.script = text(script);
    error.source = text(source);
    error.description = text(description);
    return error;
}

FILETIME TimeOf(IStateChangeInstance* change) {
    hyper ticks = 0;
    change->get_Timestamp(&ticks);
    return {static_cast<DWORD>(ticks & 0xFFFFFFFF), static_cast<DWORD>(ticks >> 32)};
}

void PrintDocuments(const CSaveRecorder& recorder) {
    PrintLine(L"store      " + recorder.GetDirectory());
    for (const auto& path : recorder.GetDocuments()) {
        const bool there = GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
        PrintLine((there ? L"saved      " : L"not saved  ") + path);
    }
}
} // namespace

ExitCode RunSave(const std::wstring& stateName, const std::wstring& appsFile) {
    const _STATE_CHANGE_TYPE state = StateChangeFromName(stateName);
    const ProtectedApps apps = ReadAppsFile(appsFile);
    const CHostApartment apartment;
    RequireComponents();

    const CComPtr<IStateChangeInstance> change = CHostStateChange::Announce(state);
    std::vector<CScript*> scripts;
    for (const auto& app : apps)
        scripts.push_back(app.get());

    CSaveRecorder recorder(state, TimeOf(change));
    CSaveOp op;
    op.SetScripts(&scripts);
    op.SetStateChangeInstance(change);
    op.SetObserver(&recorder);
    PrintLine(L"state      " + stateName);
    RunOnWorker(op);

    if (recorder.GetRunCount() == 0)
        PrintLine(L"protected  nothing: no protected application is running");
    if (!recorder.GetDirectory().empty())
        PrintDocuments(recorder);
    if (!recorder.GetProblem().empty())
        throw CCommandError(ExitCode::Failed, L"the record of the store '" + recorder.GetDirectory() +
                                                  L"' could not be completed: " + recorder.GetProblem());

    short hasError = VARIANT_FALSE;
    op.HasError(&hasError);
    VARIANT_BOOL vetoed = VARIANT_FALSE;
    change->get_Vetoed(&vetoed);
    if (hasError != VARIANT_FALSE)
        PrintLine(L"failed     " + TakeError(op).Describe());
    if (vetoed != VARIANT_FALSE) {
        PrintLine(L"vetoed     the machine must not enter " + stateName);
        return ExitCode::Vetoed;
    }
    if (hasError != VARIANT_FALSE || FAILED(op.GetResult()))
        throw CCommandError(ExitCode::Failed, L"the save scripts could not be run to the end; the log says why.");
    PrintLine(L"done       the machine may enter " + stateName);
    return ExitCode::Done;
}
