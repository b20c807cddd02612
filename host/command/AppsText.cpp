#include "AppsText.h"

#include "ExitCode.h"
#include "JsonLines.h"
#include "NearestName.h"
#include "base/Utf8.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cwctype>
#include <optional>
#include <utility>

namespace {
using nlohmann::json;

const std::vector<std::string>& KnownKeys() {
    static const std::vector<std::string> keys{"friendlyName", "executables", "windowTitles", "windowClasses",
                                               "stateChanges", "saveScript",  "restoreScript"};
    return keys;
}

/// What may have been meant, or else what there is.
std::wstring UnknownKey(const std::string& key, const std::vector<std::string>& known) {
    const std::string nearest = FindNearestName(key, known);
    std::wstring text = L"unknown key '" + FromUtf8(key) + L"'; ";
    if (!nearest.empty())
        return text + L"did you mean '" + FromUtf8(nearest) + L"'?";
    text += L"known are ";
    for (const std::string& name : known)
        text += (&name == &known.front() ? L"'" : L", '") + FromUtf8(name) + L"'";
    return text + L".";
}

/// Longer than any window's text that a pattern is compared with.
constexpr std::size_t LongestTitle = 511;

std::optional<_STATE_CHANGE_TYPE> FindState(std::wstring name) {
    std::erase(name, L'-');
    const auto same = [](wchar_t left, wchar_t right) { return std::towlower(left) == std::towlower(right); };
    for (const auto& [known, type] : StateChangeNames)
        if (std::ranges::equal(name, std::wstring_view(known), same))
            return type;
    return std::nullopt;
}

std::wstring UnknownState(const std::wstring& name) {
    return L"unknown state '" + name +
           L"'; known are standby, standby-resume, hibernate, hibernate-resume, shutdown, shutdown-resume and "
           L"force-shutdown.";
}

/// Why a pattern matches no executable, whatever runs; empty when it may.
std::wstring WhyNoExecutable(const std::wstring& pattern) {
    if (pattern.empty())
        return L"an empty pattern matches nothing.";
    if (pattern.find_first_of(L"\\/:") != std::wstring::npos)
        return L"'" + pattern +
               L"' can never match: executables are known by their file name without a folder, such as notepad.exe.";
    if (pattern.find_first_of(L".*") == std::wstring::npos)
        return L"'" + pattern + L"' can never match: an executable's name has its extension; write '" + pattern +
               L".exe' or '" + pattern + L".*'.";
    return {};
}

/// The same for a window's title or class. An empty pattern stands for windows without a title.
std::wstring WhyNoWindow(const std::wstring& pattern) {
    const auto stars = static_cast<std::size_t>(std::count(pattern.begin(), pattern.end(), L'*'));
    if (pattern.size() - stars > LongestTitle)
        return L"the pattern can never match: no more than 511 characters of a window's text are looked at.";
    return {};
}

/// Collects what is wrong with a file. Each mistake names the line and the key.
class CMistakes {
public:
    CMistakes(std::string_view text, const std::wstring& path) : m_lines(text), m_path(path) {
        for (const auto& [duplicate, line] : m_lines.Duplicates())
            Add(line, duplicate, L"the key is there twice; only one can count.");
    }

    /// "'C:\apps.json', line 3, applications/1/saveScript: "
    std::wstring Where(const std::string& path) const { return Where(m_lines.LineOf(path), path); }

    void Add(const std::string& path, const std::wstring& text) { Add(m_lines.LineOf(path), path, text); }
    void AddWhole(const std::wstring& text) {
        m_texts.emplace_back(0, L"the applications file '" + m_path + L"' " + text);
    }
    std::size_t Count() const { return m_texts.size(); }

    std::vector<std::wstring> Take() {
        std::stable_sort(m_texts.begin(), m_texts.end(),
                         [](const auto& left, const auto& right) { return left.first < right.first; });
        std::vector<std::wstring> texts;
        for (auto& [line, text] : m_texts)
            texts.push_back(std::move(text));
        return texts;
    }

private:
    std::wstring Where(std::size_t line, const std::string& path) const {
        return L"'" + m_path + L"', line " + std::to_wstring(line) + L", " +
               FromUtf8(path.empty() ? path : path.substr(1)) + L": ";
    }
    void Add(std::size_t line, const std::string& path, const std::wstring& text) {
        m_texts.emplace_back(line, Where(line, path) + text);
    }

    CJsonLines m_lines;
    std::wstring m_path;
    std::vector<std::pair<std::size_t, std::wstring>> m_texts; ///< with their lines
};

/// Reads one entry.
class CEntryReader {
public:
    CEntryReader(const json& entry, std::string path, CMistakes& mistakes)
        : m_entry(entry), m_path(std::move(path)), m_mistakes(mistakes) {}

    /// Nothing when there is a mistake in it.
    std::optional<CAppEntry> Read() {
        const std::size_t before = m_mistakes.Count();
        CAppEntry result;
        if (m_entry.is_object())
            ReadKeys(result);
        else
            m_mistakes.Add(m_path, L"not an object.");
        if (m_mistakes.Count() != before)
            return std::nullopt;
        return result;
    }

private:
    void ReadKeys(CAppEntry& result) {
        RefuseStrangeKeys();
        result.friendlyName = Text("friendlyName", true);
        result.executables = Patterns("executables", &WhyNoExecutable);
        result.windowTitles = Patterns("windowTitles", &WhyNoWindow);
        result.windowClasses = Patterns("windowClasses", &WhyNoWindow);
        if (!HasElements("executables") && !HasElements("windowTitles") && !HasElements("windowClasses"))
            m_mistakes.Add(m_path, L"needs a pattern in 'executables', 'windowTitles' or 'windowClasses'.");
        result.stateChanges = StateChanges();
        result.saveScript = Text("saveScript", true);
        result.saveScriptWhere = m_mistakes.Where(Below("saveScript"));
        result.restoreScript = Text("restoreScript", false);
        result.restoreScriptWhere = m_mistakes.Where(Below("restoreScript"));
    }

    /// A mistyped key must not silently leave an application unprotected.
    void RefuseStrangeKeys() {
        for (const auto& item : m_entry.items())
            if (std::find(KnownKeys().begin(), KnownKeys().end(), item.key()) == KnownKeys().end())
                m_mistakes.Add(Below(item.key()), UnknownKey(item.key(), KnownKeys()));
    }

    std::string Below(const std::string& key) const { return m_path + "/" + key; }

    bool HasElements(const char* key) const {
        const auto found = m_entry.find(key);
        return found != m_entry.end() && !found->empty();
    }

    std::wstring Text(const char* key, bool required) {
        const auto found = m_entry.find(key);
        if (found == m_entry.end() && !required)
            return {};
        if (found != m_entry.end() && found->is_string() && !found->get_ref<const std::string&>().empty())
            return FromUtf8(found->get_ref<const std::string&>());
        m_mistakes.Add(Below(key), L"'" + FromUtf8(key) + L"' must be a text.");
        return {};
    }

    /// The texts of a list, each with its path.
    std::vector<std::pair<std::string, std::wstring>> List(const char* key) {
        std::vector<std::pair<std::string, std::wstring>> result;
        const auto found = m_entry.find(key);
        if (found == m_entry.end())
            return result;
        if (found->is_array())
            for (const auto& item : *found)
                if (item.is_string())
                    result.emplace_back(Below(key) + "/" + std::to_string(result.size()),
                                        FromUtf8(item.get_ref<const std::string&>()));
        if (!found->is_array() || result.size() != found->size()) {
            m_mistakes.Add(Below(key), L"'" + FromUtf8(key) + L"' must be a list of texts.");
            result.clear();
        }
        return result;
    }

    std::vector<std::wstring> Patterns(const char* key, std::wstring (*whyNever)(const std::wstring&)) {
        std::vector<std::wstring> result;
        for (auto& [path, pattern] : List(key)) {
            if (const std::wstring why = whyNever(pattern); !why.empty())
                m_mistakes.Add(path, why);
            if (std::find(result.begin(), result.end(), pattern) != result.end())
                m_mistakes.Add(path, L"the pattern '" + pattern + L"' is there twice.");
            result.push_back(std::move(pattern));
        }
        return result;
    }

    unsigned long StateChanges() {
        unsigned long mask = 0;
        const std::size_t before = m_mistakes.Count();
        for (const auto& [path, name] : List("stateChanges")) {
            const auto state = FindState(name);
            if (!state)
                m_mistakes.Add(path, UnknownState(name));
            else if ((mask & *state) != 0)
                m_mistakes.Add(path, L"the state '" + name + L"' is there twice.");
            mask |= state ? static_cast<unsigned long>(*state) : 0;
        }
        if (mask == 0 && m_mistakes.Count() == before)
            m_mistakes.Add(Below("stateChanges"), L"'stateChanges' must name at least one state.");
        return mask;
    }

    const json& m_entry;
    std::string m_path;
    CMistakes& m_mistakes;
};

void ReadEntries(const json& document, CAppsText& result, CMistakes& mistakes) {
    if (!document.is_object() || !document.contains("applications") || !document["applications"].is_array()) {
        mistakes.AddWhole(L"has no list 'applications'.");
        return;
    }
    for (const auto& item : document.items())
        if (item.key() != "applications" && item.key() != "$schema")
            mistakes.Add("/" + item.key(), UnknownKey(item.key(), {"applications", "$schema"}));
    std::size_t number = 0;
    for (const auto& item : document["applications"]) {
        const std::string path = "/applications/" + std::to_string(number++);
        auto entry = CEntryReader(item, path, mistakes).Read();
        if (!entry)
            continue;
        // Two entries may share the states between them; for the same one the application would be saved twice.
        if (std::any_of(result.entries.begin(), result.entries.end(), [&](const CAppEntry& other) {
                return other.friendlyName == entry->friendlyName && (other.stateChanges & entry->stateChanges) != 0;
            }))
            mistakes.Add(path + "/friendlyName",
                         L"'" + entry->friendlyName + L"' is there already for one of these states.");
        result.entries.push_back(std::move(*entry));
    }
}
} // namespace

_STATE_CHANGE_TYPE StateChangeFromName(const std::wstring& name) {
    if (const auto state = FindState(name))
        return *state;
    throw CCommandError(ExitCode::BadInput, UnknownState(name));
}

CAppsText ExamineAppsText(std::string_view text, const std::wstring& path) {
    CAppsText result;
    CMistakes mistakes(text, path);
    try {
        ReadEntries(json::parse(text), result, mistakes);
    } catch (const json::exception& error) {
        mistakes.AddWhole(L"is not valid JSON: " + FromUtf8(error.what()));
    }
    result.mistakes = mistakes.Take();
    return result;
}

std::vector<CAppEntry> ParseAppsText(std::string_view text, const std::wstring& path) {
    CAppsText result = ExamineAppsText(text, path);
    if (!result.mistakes.empty())
        throw CCommandError(ExitCode::BadInput, result.mistakes.front());
    return std::move(result.entries);
}
