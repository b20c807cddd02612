#include "Commands.h"
#include "JsonText.h"
#include "RunningApps.h"
#include "SamplesSafeName.h"
#include "base/Text.h"

#include <algorithm>
#include <cwctype>
#include <filesystem>
#include <fstream>

namespace {
using nlohmann::ordered_json;

/// Runs as it is, once it is signed: the text of each visible window goes into a document. The
/// samples' function that cleans names follows.
constexpr const char* SaveTemplate =
    R"js(// Saves the text of every window of one process into the document store. Where the application has an object model,
// ask that instead: it knows its documents, and which of them have changed.
var windows = Process.Windows;
for (var index = 0; index < windows.Count; index++) {
    saveText(windows.Item(index).Text, safeName(windows.Item(index).Title));
}

function saveText(text, name) {
    var files = new ActiveXObject("Scripting.FileSystemObject");
    var file = files.CreateTextFile(TalvinorDocumentStore.GetNew(name, "", ".txt"), true, true);
    file.Write(text);
    file.Close();
    TalvinorDocumentStore.LogMessage(2, "Saved a window of process " + Process.Id);
}

)js";

constexpr const char* RestoreTemplate = R"js(// Opens the saved copy of each document in the program that it came from.
var documents = TalvinorRestoreScriptArgs.RestoreDocuments;
for (var index = 0; index < documents.Count; index++) {
    openWith("PROGRAM", documents.Item(index).TempPath);
}

// A quotation mark in the path would part it, and Run puts in the values of %VARIABLES%: a path that would not arrive as
// it is starts nothing.
function openWith(program, path) {
    var shell = new ActiveXObject("WScript.Shell");
    if (path.indexOf('"') >= 0 || shell.ExpandEnvironmentStrings(path).indexOf(path) != 0) {
        throw new Error("This path cannot be handed to a program: " + path);
    }
    shell.Run('"' + program + '" "' + path + '"', 1, false);
}
)js";

struct CNewRequest {
    std::wstring name;
    std::wstring folder = L".";
};

/// The file name of the running program that is meant, in lower case.
std::wstring FindImage(const std::wstring& name) {
    for (const auto& process : CRunningApps::Look().processes) {
        std::wstring image = process.m_imageName;
        std::transform(image.begin(), image.end(), image.begin(),
                       [](wchar_t c) { return static_cast<wchar_t>(std::towlower(c)); });
        if (SameName(image, name) || SameName(image.substr(0, image.find_last_of(L'.')), name))
            return image;
    }
    throw CCommandError(ExitCode::BadInput,
                        L"no program '" + name + L"' runs; start it, and name it by its file name.");
}

void WriteNewFile(const std::filesystem::path& path, const std::string& text) {
    std::error_code ignored; // a folder that cannot be made is told as a file that cannot be written
    std::filesystem::create_directories(path.parent_path(), ignored);
    std::ofstream file(path, std::ios::binary);
    if (!(file << text).flush())
        throw CCommandError(ExitCode::Failed,
                            L"'" + path.wstring() + L"' cannot be written; name a folder that can with --out.");
    PrintLine(L"written    " + path.wstring());
}

std::string RestoreScriptFor(const std::wstring& image) {
    constexpr std::string_view place = "PROGRAM";
    std::string text = RestoreTemplate;
    return text.replace(text.find(place), place.size(), ToUtf8(image));
}

ExitCode RunNew(const CNewRequest& request, bool asJson) {
    const std::wstring image = FindImage(request.name);
    const std::wstring name = image.substr(0, image.find_last_of(L'.'));
    const auto folder = std::filesystem::absolute(request.folder).lexically_normal();
    const std::filesystem::path save = folder / (name + L"-save.js");
    const std::filesystem::path restore = folder / (name + L"-restore.js");
    const std::filesystem::path apps = folder / (name + L".json");
    for (const auto& path : {save, restore, apps})
        if (std::error_code ignored; std::filesystem::exists(path, ignored))
            throw CCommandError(ExitCode::BadInput,
                                L"'" + path.wstring() +
                                    L"' is there already; nothing was written. Name another folder with --out.");
    WriteNewFile(save, std::string(SaveTemplate) + SafeNameFunction);
    WriteNewFile(restore, RestoreScriptFor(image));
    const ordered_json entry{{"friendlyName", ToUtf8(name)},
                             {"executables", {ToUtf8(image)}},
                             {"stateChanges", {"standby", "hibernate", "shutdown"}},
                             {"saveScript", ToUtf8(save.filename().wstring())},
                             {"restoreScript", ToUtf8(restore.filename().wstring())}};
    WriteNewFile(apps, ordered_json{{"applications", ordered_json::array({entry})}}.dump(4) + "\n");
    PrintLine(L"next       edit the scripts, sign them with 'quorline sign', and see what 'quorline check --apps " +
              apps.wstring() + L"' says");
    if (asJson)
        PrintJson({{"saveScript", ToUtf8(save.wstring())},
                   {"restoreScript", ToUtf8(restore.wstring())},
                   {"applications", ToUtf8(apps.wstring())}});
    return ExitCode::Done;
}
} // namespace

void AddNew(CCommandLine& line) {
    const auto request = std::make_shared<CNewRequest>();
    CLI::App& command = line.Add({"new",
                                  "Write scripts and an applications file to start from, for a program that runs now",
                                  {"new notepad", "new notepad.exe --out scripts"},
                                  {ExitCode::Done, ExitCode::Failed},
                                  R"({"saveScript", "restoreScript", "applications"})"},
                                 [request](const CCommonOptions& options) { return RunNew(*request, options.json); });
    AddText(command, "NAME", request->name, "The program, by its file name")->required();
    AddText(command, "--out", request->folder, "The folder for the files (the current one)");
}
