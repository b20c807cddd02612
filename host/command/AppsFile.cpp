#include "AppsFile.h"

#include "Console.h"
#include "ExitCode.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cwctype>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace {
using nlohmann::json;

constexpr std::array<std::pair<std::wstring_view, _STATE_CHANGE_TYPE>, 7> StateNames{{
    {L"standby", Standby},
    {L"standbyresume", StandbyResume},
    {L"hibernate", Hibernate},
    {L"hibernateresume", HibernateResume},
    {L"shutdown", Shutdown},
    {L"shutdownresume", ShutdownResume},
    {L"forceshutdown", ForceShutdown},
}};

constexpr std::array<std::string_view, 7> KnownKeys{"friendlyName", "executables", "windowTitles", "windowClasses",
                                                    "stateChanges", "saveScript",  "restoreScript"};

[[noreturn]] void Refuse(const std::wstring& text) {
    throw CCommandError(ExitCode::BadInput, text);
}

/// One application's entry, with the words that say where in the file a mistake is.
class CAppEntry {
public:
    CAppEntry(const json& entry, const std::filesystem::path& file, std::size_t number)
        : m_entry(entry), m_directory(file.parent_path()),
          m_where(L"'" + file.wstring() + L"', application " + std::to_wstring(number) + L": ") {}

    std::unique_ptr<CDocumentScript> Read() const {
        RefuseStrangeShape();
        auto script = std::make_unique<CDocumentScript>();
        script->SetAppFriendlyName(Text("friendlyName", true));
        const auto exes = List("executables");
        const auto titles = List("windowTitles");
        const auto classes = List("windowClasses");
        if (exes.empty() && titles.empty() && classes.empty())
            Refuse(m_where + L"needs a pattern in 'executables', 'windowTitles' or 'windowClasses'.");
        for (const auto& pattern : exes)
            script->AddExe(pattern);
        for (const auto& pattern : titles)
            script->AddWindowTitle(pattern);
        for (const auto& pattern : classes)
            script->AddWindowClass(pattern);
        script->SetStateChanges(StateChanges());
        static_cast<CScript&>(*script) = Script(Text("saveScript", true));
        if (const std::wstring restore = Text("restoreScript", false); !restore.empty())
            script->SetRestoreScript(Script(restore));
        return script;
    }

private:
    /// A mistyped key must not silently leave an application unprotected.
    void RefuseStrangeShape() const {
        if (!m_entry.is_object())
            Refuse(m_where + L"not an object.");
        for (const auto& item : m_entry.items())
            if (std::find(KnownKeys.begin(), KnownKeys.end(), item.key()) == KnownKeys.end())
                Refuse(m_where + L"unknown key '" + FromUtf8(item.key()) + L"'.");
    }

    std::wstring Text(const char* key, bool required) const {
        const auto found = m_entry.find(key);
        if (found == m_entry.end() && !required)
            return {};
        if (found == m_entry.end() || !found->is_string() || found->get_ref<const std::string&>().empty())
            Refuse(m_where + L"'" + FromUtf8(key) + L"' must be a text.");
        return FromUtf8(found->get_ref<const std::string&>());
    }

    std::vector<std::wstring> List(const char* key) const {
        const auto found = m_entry.find(key);
        if (found == m_entry.end())
            return {};
        std::vector<std::wstring> result;
        if (found->is_array())
            for (const auto& item : *found)
                if (item.is_string())
                    result.push_back(FromUtf8(item.get_ref<const std::string&>()));
        if (!found->is_array() || result.size() != found->size())
            Refuse(m_where + L"'" + FromUtf8(key) + L"' must be a list of texts.");
        return result;
    }

    unsigned long StateChanges() const {
        unsigned long mask = 0;
        for (const auto& name : List("stateChanges"))
            mask |= static_cast<unsigned long>(StateChangeFromName(name));
        if (mask == 0)
            Refuse(m_where + L"'stateChanges' must name at least one state.");
        return mask;
    }

    CScript Script(const std::wstring& name) const {
        try {
            return ReadScriptFile((m_directory / std::filesystem::path(name)).wstring());
        } catch (const CCommandError& error) {
            Refuse(m_where + error.GetText());
        }
    }

    const json& m_entry;
    std::filesystem::path m_directory;
    std::wstring m_where;
};
} // namespace

CScript ReadScriptFile(const std::wstring& path) {
    const std::filesystem::path file(path);
    const std::wstring extension = file.extension().wstring();
    CScript script;
    if (_wcsicmp(extension.c_str(), L".vbs") == 0)
        script.SetScriptLang(CScript::LangVBScript);
    else if (_wcsicmp(extension.c_str(), L".js") == 0)
        script.SetScriptLang(CScript::LangJScript);
    else
        Refuse(L"the script '" + path + L"' is neither .vbs nor .js.");
    script.SetScriptName(file.filename().wstring());
    if (!script.LoadTextFromFile(path))
        Refuse(L"the script '" + path + L"' cannot be read.");
    return script;
}

_STATE_CHANGE_TYPE StateChangeFromName(const std::wstring& name) {
    std::wstring plain;
    for (const wchar_t c : name)
        if (c != L'-')
            plain += static_cast<wchar_t>(std::towlower(c));
    for (const auto& [known, type] : StateNames)
        if (plain == known)
            return type;
    Refuse(L"unknown state '" + name +
           L"'; known are standby, standby-resume, hibernate, hibernate-resume, shutdown, shutdown-resume and "
           L"force-shutdown.");
}

ProtectedApps ReadAppsFile(const std::wstring& path) {
    const std::filesystem::path file(path);
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        Refuse(L"the applications file '" + path + L"' cannot be opened.");
    json document;
    try {
        document = json::parse(stream);
    } catch (const json::exception& error) {
        Refuse(L"the applications file '" + path + L"' is not valid JSON: " + FromUtf8(error.what()));
    }
    if (!document.is_object() || !document.contains("applications") || !document["applications"].is_array())
        Refuse(L"the applications file '" + path + L"' has no list 'applications'.");

    ProtectedApps result;
    for (const auto& entry : document["applications"])
        result.push_back(CAppEntry(entry, file, result.size() + 1).Read());
    return result;
}
