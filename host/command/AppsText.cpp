#include "AppsText.h"

#include "Console.h"
#include "ExitCode.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cwctype>
#include <utility>

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

/// Reads one entry; every mistake in it is named with the words that say where in the file it is.
class CEntryReader {
public:
    CEntryReader(const json& entry, const std::wstring& path, std::size_t number)
        : m_entry(entry), m_where(L"'" + path + L"', application " + std::to_wstring(number) + L": ") {}

    CAppEntry Read() const {
        RefuseStrangeShape();
        CAppEntry result;
        result.where = m_where;
        result.friendlyName = Text("friendlyName", true);
        result.executables = List("executables");
        result.windowTitles = List("windowTitles");
        result.windowClasses = List("windowClasses");
        if (result.executables.empty() && result.windowTitles.empty() && result.windowClasses.empty())
            Refuse(m_where + L"needs a pattern in 'executables', 'windowTitles' or 'windowClasses'.");
        result.stateChanges = StateChanges();
        result.saveScript = Text("saveScript", true);
        result.restoreScript = Text("restoreScript", false);
        return result;
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

    const json& m_entry;
    std::wstring m_where;
};
} // namespace

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

std::vector<CAppEntry> ParseAppsText(std::string_view text, const std::wstring& path) {
    json document;
    try {
        document = json::parse(text);
    } catch (const json::exception& error) {
        Refuse(L"the applications file '" + path + L"' is not valid JSON: " + FromUtf8(error.what()));
    }
    if (!document.is_object() || !document.contains("applications") || !document["applications"].is_array())
        Refuse(L"the applications file '" + path + L"' has no list 'applications'.");

    std::vector<CAppEntry> result;
    for (const auto& entry : document["applications"])
        result.push_back(CEntryReader(entry, path, result.size() + 1).Read());
    return result;
}
