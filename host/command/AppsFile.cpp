#include "AppsFile.h"

#include "ExitCode.h"
#include "base/Text.h"

#include <shlobj.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace {
[[noreturn]] void Refuse(const std::wstring& text) {
    throw CCommandError(ExitCode::BadInput, text);
}

CScript ReadScriptOf(const std::wstring& where, const std::filesystem::path& script) {
    try {
        return ReadScriptFile(script.wstring());
    } catch (const CCommandError& error) {
        Refuse(where + error.GetText());
    }
}

std::unique_ptr<CDocumentScript> MakeScript(const CAppEntry& entry, const std::filesystem::path& directory) {
    auto script = std::make_unique<CDocumentScript>();
    script->SetAppFriendlyName(entry.friendlyName);
    for (const auto& pattern : entry.executables)
        script->AddExe(pattern);
    for (const auto& pattern : entry.windowTitles)
        script->AddWindowTitle(pattern);
    for (const auto& pattern : entry.windowClasses)
        script->AddWindowClass(pattern);
    script->SetStateChanges(entry.stateChanges);
    static_cast<CScript&>(*script) = ReadScriptOf(entry.saveScriptWhere, directory / entry.saveScript);
    if (!entry.restoreScript.empty())
        script->SetRestoreScript(ReadScriptOf(entry.restoreScriptWhere, directory / entry.restoreScript));
    return script;
}
} // namespace

CScript ReadScriptFile(const std::wstring& path) {
    const std::filesystem::path file(path);
    const std::wstring extension = file.extension().wstring();
    CScript script;
    if (SameText(extension, L".vbs"))
        script.SetScriptLang(CScript::LangVBScript);
    else if (SameText(extension, L".js"))
        script.SetScriptLang(CScript::LangJScript);
    else
        Refuse(L"the script '" + path + L"' is neither .vbs nor .js.");
    script.SetScriptName(file.filename().wstring());
    if (!script.LoadTextFromFile(path))
        Refuse(L"the script '" + path + L"' cannot be read; see that it is there and that you may read it.");
    return script;
}

std::wstring DefaultAppsFile() {
    wchar_t folder[MAX_PATH];
    if (FAILED(SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, folder)))
        Refuse(L"this machine has no folder for programs' data; name the applications file with --apps.");
    return std::wstring(folder) + L"\\Quorline\\applications.json";
}

std::wstring AppsFileOf(const std::wstring& given) {
    return given.empty() ? DefaultAppsFile() : given;
}

std::string ReadAppsBytes(const std::wstring& path) {
    std::ifstream stream(std::filesystem::path(path), std::ios::binary);
    if (!stream)
        Refuse(L"the applications file '" + path + L"' cannot be opened; name yours with --apps.");
    return {std::istreambuf_iterator<char>(stream), {}};
}

ProtectedApps ReadAppsFile(const std::wstring& path) {
    const std::filesystem::path file(path);
    ProtectedApps result;
    for (const CAppEntry& entry : ParseAppsText(ReadAppsBytes(path), path))
        result.push_back(MakeScript(entry, file.parent_path()));
    return result;
}
