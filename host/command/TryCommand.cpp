#include "AppsFile.h"
#include "Commands.h"
#include "Console.h"
#include "InterruptedSave.h"
#include "JsonText.h"
#include "LimitOptions.h"
#include "SaveProgress.h"
#include "ScratchFolder.h"
#include "ScriptError.h"
#include "StoreCatalog.h"
#include "TryWork.h"
#include "TrialScript.h"
#include "WorkerCommand.h"
#include "base/UniqueHandle.h"

#include <tlhelp32.h>

#include <algorithm>
#include <filesystem>

namespace {
struct CTryRequest {
    std::wstring script;
    std::wstring process;
    std::wstring document;
    bool keep = false;
    bool json = false;
};

bool IsNumber(const std::wstring& text) {
    return text.size() < 10 && std::all_of(text.begin(), text.end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; });
}

/// The only process of this number or of this program.
unsigned long FindProcess(const std::wstring& name) {
    std::vector<unsigned long> found;
    const unsigned long number = IsNumber(name) ? std::stoul(name) : 0;
    const CUniqueHandle all(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32FirstW(all.Get(), &entry); more; more = Process32NextW(all.Get(), &entry))
        if (number != 0 ? entry.th32ProcessID == number : _wcsicmp(entry.szExeFile, name.c_str()) == 0)
            found.push_back(entry.th32ProcessID);
    if (found.size() == 1)
        return found.front();
    if (found.empty())
        throw CCommandError(ExitCode::BadInput, L"no process '" + name + L"' is running; start the application first.");
    std::wstring numbers;
    for (const unsigned long id : found)
        numbers += (numbers.empty() ? L"" : L", ") + std::to_wstring(id);
    throw CCommandError(ExitCode::BadInput,
                        L"several processes '" + name + L"' are running; give the number of one: " + numbers + L".");
}

/// The document's copy that a restore script may do with what it likes.
std::wstring CopyDocument(const std::wstring& document, const CScratchFolder& folder) {
    std::wstring copy = folder.Path() + L"\\" + std::filesystem::path(document).filename().wstring();
    if (!CopyFileW(document.c_str(), copy.c_str(), TRUE))
        throw CCommandError(ExitCode::BadInput,
                            L"the document '" + document +
                                L"' cannot be read; see that it is there and that you may read it.");
    return copy;
}

/// The source line of an error, and a caret under its character.
void PrintSource(const CScript& script, const CScriptErrorData& error) {
    std::wstring line = LineOf(script.GetText(), error.line);
    if (line.empty())
        return;
    std::replace(line.begin(), line.end(), L'\t', L' ');
    const std::wstring number = std::to_wstring(error.line);
    PrintLine(number + L" | " + line);
    PrintLine(std::wstring(number.size() + 3 + static_cast<std::size_t>(std::max(error.character, 0L)), L' ') + L"^");
}

/// Keeps the scratch store among the trial's own things, or sees it gone.
void EndStore(const CSaveResult& result, CScratchFolder& folder, bool keep) {
    if (keep) {
        std::error_code error;
        if (!result.directory.empty())
            std::filesystem::copy(result.directory, folder.Path() + L"\\store",
                                  std::filesystem::copy_options::recursive, error);
        folder.Keep();
        PrintLine(L"kept       " + folder.Path());
    }
    RemoveScratchStores(StoresDirectory());
}

CSaveResult RunTrial(const CTryOrder& order, const CWorkerLimits& limits, CSaveProgress& progress) {
    CScratchMark mark;
    CWorkerProcess worker(MakeOrder("try", ToJson(order)));
    const auto onEvent = [&](const CWorkerEvent& event) {
        if (const auto* reserved = std::get_if<CDocumentReservedEvent>(&event))
            mark.Put(reserved->path.substr(0, reserved->path.find_last_of(L'\\')));
        progress.OnEvent(event);
    };
    const CWorkerEnd end =
        worker.Run(limits, {onEvent, [&](std::chrono::milliseconds time) { progress.OnTick(time); }});
    if (progress.GetFinished())
        return SaveResultFromJson(progress.GetFinished()->result);
    if (progress.GetError())
        throw CCommandError(static_cast<ExitCode>(progress.GetError()->exitCode), progress.GetError()->text);
    CSaveResult result = CompleteInterruptedSave(progress, Hibernate);
    result.vetoed = false;
    const std::wstring what = progress.GetRunning() ? DescribeRun(*progress.GetRunning()) : L"the trial";
    result.troubles.insert(result.troubles.begin(), what + L" did not come to its end: " + end.Describe());
    return result;
}

void PrintResult(const CSaveResult& result, const CSaveProgress& progress, const CScript& script) {
    for (const auto& [path, written] : result.documents)
        PrintLine((written ? L"written    " : L"not written  ") + path);
    for (const auto& trouble : result.troubles)
        PrintLine(L"failed     " + trouble);
    if (const auto& error = progress.GetScriptError(); error && error->line != 0) {
        PrintSource(script, *error);
        if (error->number != 0)
            PrintLine(L"number     " + DescribeScriptNumber(error->number));
    }
}

void PrintResultData(const CSaveResult& result, const CSaveProgress& progress) {
    nlohmann::ordered_json documents = nlohmann::ordered_json::array();
    for (const auto& [path, written] : result.documents)
        documents.push_back({{"path", ToUtf8(path)}, {"written", written}});
    nlohmann::ordered_json data{{"documents", documents}, {"troubles", nlohmann::ordered_json::array()}};
    for (const auto& trouble : result.troubles)
        data["troubles"].push_back(ToUtf8(trouble));
    if (const auto& error = progress.GetScriptError())
        data["error"] = {{"source", ToUtf8(error->source)},
                         {"description", ToUtf8(error->description)},
                         {"number", error->number},
                         {"line", error->line},
                         {"character", error->character}};
    data["vetoed"] = result.vetoed;
    PrintJson(data);
}

ExitCode RunTry(const CTryRequest& request, const CWorkerLimits& limits) {
    const CScript script = ReadScriptFile(request.script);
    const unsigned long processId = FindProcess(request.process);
    RemoveScratchStores(StoresDirectory());
    CScratchFolder folder;
    CTryOrder order{MakeTrialScript(request.script, folder.Path()), processId, {}, {}};
    if (!request.document.empty()) {
        order.originalPath = std::filesystem::absolute(request.document).wstring();
        order.document = CopyDocument(order.originalPath, folder);
    }
    CStatusLine status = CStatusLine::OfConsole();
    CSaveProgress progress(L"", status);
    progress.ShowEverything();
    const CSaveResult result = RunTrial(order, limits, progress);
    status.Clear();
    if (request.json)
        PrintResultData(result, progress);
    else
        PrintResult(result, progress, script);
    EndStore(result, folder, request.keep);
    const bool unwritten = std::any_of(result.documents.begin(), result.documents.end(),
                                       [](const auto& document) { return !document.written; });
    if (!result.troubles.empty())
        return ExitCode::Failed;
    if (result.vetoed)
        return ExitCode::Vetoed;
    return unwritten ? ExitCode::Unwritten : ExitCode::Done;
}
} // namespace

void AddTry(CCommandLine& line) {
    const auto request = std::make_shared<CTryRequest>();
    const auto limits = std::make_shared<CWorkerLimits>();
    CLI::App& command = line.Add(
        {"try",
         "Run one script as a save or a restore would, and keep nothing of it",
         {"try notepad-save.vbs --process notepad.exe", "try notepad-restore.vbs --process 420 --document letter.txt"},
         {ExitCode::Done, ExitCode::Failed, ExitCode::Vetoed, ExitCode::NotRegistered, ExitCode::Unwritten},
         R"({"documents": [{"path", "written"}], "troubles": [], "error": {"source",)"
         R"( "description", "number", "line", "character"}, "vetoed"})"},
        [=](const CCommonOptions& options) {
            request->json = options.json;
            return RunTry(*request, *limits);
        });
    AddText(command, "script", request->script, "The script")->required();
    AddText(command, "--process", request->process, "The program's file name, or a process's number")->required();
    AddText(command, "--document", request->document, "Run it as a restore script, for a copy of this file");
    command.add_flag("--keep", request->keep, "Keep what it wrote, and say where");
    AddLimits(command, *limits);
}
