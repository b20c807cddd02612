#include "AppsFile.h"

#include "ExitCode.h"
#include "base/Text.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace {
[[noreturn]] void Refuse(const std::wstring& text) {
    throw CCommandError(ExitCode::BadInput, text);
}

CScript ReadScriptOf(const CAppEntry& entry, const std::filesystem::path& script) {
    try {
        return ReadScriptFile(script.wstring());
    } catch (const CCommandError& error) {
        Refuse(entry.where + error.GetText());
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
    static_cast<CScript&>(*script) = ReadScriptOf(entry, directory / entry.saveScript);
    if (!entry.restoreScript.empty())
        script->SetRestoreScript(ReadScriptOf(entry, directory / entry.restoreScript));
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
        Refuse(L"the script '" + path + L"' cannot be read.");
    return script;
}

ProtectedApps ReadAppsFile(const std::wstring& path) {
    const std::filesystem::path file(path);
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        Refuse(L"the applications file '" + path + L"' cannot be opened.");
    const std::string text(std::istreambuf_iterator<char>(stream), {});
    ProtectedApps result;
    for (const CAppEntry& entry : ParseAppsText(text, path))
        result.push_back(MakeScript(entry, file.parent_path()));
    return result;
}
