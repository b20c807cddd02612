#include "AppsOption.h"
#include "Commands.h"
#include "Console.h"
#include "HostLog.h"
#include "JsonText.h"
#include "LimitOptions.h"
#include "SaveInWorker.h"

namespace {
/// How many of the documents that scripts asked for are not there.
std::size_t PrintDocuments(const CSaveResult& result) {
    std::size_t unwritten = 0;
    if (!result.directory.empty())
        PrintLine(L"store      " + result.directory);
    for (const auto& [path, written] : result.documents) {
        PrintLine((written ? L"saved      " : L"not saved  ") + path);
        unwritten += written ? 0 : 1;
    }
    return unwritten;
}

void PrintResultData(const CSaveResult& result, const std::wstring& state) {
    nlohmann::ordered_json documents = nlohmann::ordered_json::array();
    for (const auto& [path, written] : result.documents)
        documents.push_back({{"path", ToUtf8(path)}, {"written", written}});
    nlohmann::ordered_json troubles = nlohmann::ordered_json::array();
    for (const auto& trouble : result.troubles)
        troubles.push_back(ToUtf8(trouble));
    PrintJson({{"state", ToUtf8(state)},
               {"store", ToUtf8(result.directory)},
               {"documents", documents},
               {"troubles", troubles},
               {"vetoed", result.vetoed || !result.troubles.empty()}});
}
} // namespace

ExitCode RunSave(const CSaveRequest& request, const CWorkerLimits& limits) {
    CStatusLine status = CStatusLine::OfConsole();
    CSaveProgress progress(request.state, status);
    CSaveRun run{request, limits};
    run.watch.onTick = [&](std::chrono::milliseconds time) { progress.OnTick(time); };
    const CSaveResult result = SaveInWorker(run, progress);
    status.Clear();

    if (progress.GetRunCount() == 0 && progress.GetFinished())
        PrintLine(L"protected  nothing: " + result.idle);
    const std::size_t unwritten = PrintDocuments(result);
    for (const auto& trouble : result.troubles) {
        LogHostError(L"The state change is vetoed: " + trouble);
        PrintLine(L"failed     " + trouble);
    }
    if (request.json)
        PrintResultData(result, request.state);
    if (unwritten != 0)
        PrintError(L"warning: " + std::to_wstring(unwritten) + L" of " + std::to_wstring(result.documents.size()) +
                   L" documents were never written by the script that asked for them; look for \"not saved\"");
    // The library vetoes for a failing script; whatever else went wrong, nobody would know that it must not go on.
    if (result.vetoed || !result.troubles.empty()) {
        PrintLine(L"vetoed     the machine must not enter " + request.state);
        return ExitCode::Vetoed;
    }
    PrintLine(L"done       the machine may enter " + request.state);
    return unwritten != 0 ? ExitCode::Unwritten : ExitCode::Done;
}

void AddSave(CCommandLine& line) {
    const auto request = std::make_shared<CSaveRequest>();
    const auto limits = std::make_shared<CWorkerLimits>();
    CLI::App& command =
        line.Add({"save",
                  "Run the save scripts of the running protected applications",
                  {"save --state hibernate", "save --state shutdown --apps apps.json"},
                  {ExitCode::Done, ExitCode::Failed, ExitCode::Vetoed, ExitCode::NotRegistered, ExitCode::Unwritten},
                  R"({"state", "store", "documents": [{"path", "written"}], "troubles": [], "vetoed"})"},
                 [=](const CCommonOptions& options) {
                     request->json = options.json;
                     return RunSave(*request, *limits);
                 });
    AddText(command, "--state", request->state, "The state the machine is about to enter, such as hibernate")
        ->required();
    AddAppsOption(command, request->appsFile);
    AddLimits(command, *limits);
}
