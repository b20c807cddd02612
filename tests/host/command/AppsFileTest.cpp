// Proves what an applications file must be like: AppsFile, AppsText.

#include "AppsFile.h"
#include "Console.h"
#include "ExitCode.h"
#include "TempFolder.h"
#include "protection/ProcessInfo.h"
#include "protection/WindowInfo.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>

namespace {
using testing::HasSubstr;

const std::string Good = R"({"applications":[{"friendlyName":"Letters","executables":["letter*.exe"],
    "windowTitles":["*Letter*"],"windowClasses":["LetterFrame"],"stateChanges":["standby","hibernate"],
    "saveScript":"save.vbs","restoreScript":"restore.js"}]})";

class AppsFileTest : public testing::Test {
protected:
    void SetUp() override {
        Put(L"save.vbs", "x = 1");
        Put(L"restore.js", "var x = 1;");
    }

    void Put(const std::wstring& name, const std::string& bytes) {
        std::ofstream(std::filesystem::path(Path(name)), std::ios::binary) << bytes;
    }

    std::wstring Path(const std::wstring& name) const { return m_folder.Path() + L"\\" + name; }

    ProtectedApps Read(const std::string& json) {
        Put(L"apps.json", json);
        return ReadAppsFile(Path(L"apps.json"));
    }

    std::string Refusal(const std::string& json) {
        try {
            Read(json);
        } catch (const CCommandError& error) {
            EXPECT_EQ(error.GetCode(), ExitCode::BadInput);
            return ToUtf8(error.GetText());
        }
        return "accepted";
    }

    static std::string Replaced(std::string text, const std::string& what, const std::string& with) {
        return text.replace(text.find(what), what.size(), with);
    }

    CTempFolder m_folder;
};
} // namespace

TEST_F(AppsFileTest, AnEntryBecomesADocumentScriptWithBothScriptsLoaded) {
    const ProtectedApps apps = Read(Good);
    ASSERT_EQ(apps.size(), 1u);
    CDocumentScript& app = *apps.front();
    EXPECT_EQ(app.GetAppFriendlyName(), L"Letters");
    EXPECT_EQ(app.GetScriptName(), L"save.vbs");
    EXPECT_EQ(app.GetText(), L"x = 1");
    EXPECT_EQ(app.GetScriptLang(), CScript::LangVBScript);
    EXPECT_EQ(app.GetRestoreScript().GetScriptName(), L"restore.js");
    EXPECT_EQ(app.GetRestoreScript().GetText(), L"var x = 1;");
    EXPECT_EQ(app.GetRestoreScript().GetScriptLang(), CScript::LangJScript);
    EXPECT_EQ(app.GetStateChanges(), static_cast<unsigned long>(Standby | Hibernate));
}

TEST_F(AppsFileTest, EachKindOfPatternIsComparedWithItsOwn) {
    const ProtectedApps apps = Read(Good);
    const IProtectedAppMatcher& app = *apps.front();
    CProcessInfo process;
    process.m_imageName = L"LETTER2.EXE";
    EXPECT_TRUE(app.IsMatchingProcess(process));
    process.m_imageName = L"LETTERFRAME";
    EXPECT_FALSE(app.IsMatchingProcess(process));
    CWindowInfo window;
    window.m_title = L"MY LETTER - PAPER";
    EXPECT_TRUE(app.IsMatchingWindow(window));
    std::swap(window.m_title, window.m_className);
    EXPECT_FALSE(app.IsMatchingWindow(window));
    window.m_className = L"LETTERFRAME";
    EXPECT_TRUE(app.IsMatchingWindow(window));
}

TEST_F(AppsFileTest, OneKindOfPatternSuffices) {
    for (const char* kind : {"executables", "windowTitles", "windowClasses"}) {
        const std::string json = std::string(R"({"applications":[{"friendlyName":"L",")") + kind +
                                 R"(":["x*"],"stateChanges":["standby"],"saveScript":"save.vbs"}]})";
        EXPECT_EQ(Refusal(json), "accepted") << kind;
    }
}

TEST_F(AppsFileTest, OfTwoApplicationsTheSecondsMistakeIsItsOwn) {
    const std::string entry = Good.substr(Good.find('[') + 1, Good.rfind(']') - Good.find('[') - 1);
    const std::string second = Replaced(entry, "\"Letters\"", "\"\"");
    EXPECT_THAT(Refusal(R"({"applications":[)" + entry + "," + second + "]}"),
                HasSubstr("applications/1/friendlyName: "));
    const ProtectedApps apps = Read(R"({"applications":[)" + Replaced(entry, "Letters", "Notes") + "," + entry + "]}");
    ASSERT_EQ(apps.size(), 2u);
    EXPECT_EQ(apps[0]->GetAppFriendlyName(), L"Notes");
    EXPECT_EQ(apps[1]->GetAppFriendlyName(), L"Letters");
}

TEST_F(AppsFileTest, ARestoreScriptMayBeLeftOut) {
    const ProtectedApps apps = Read(Replaced(Good, R"(,"restoreScript":"restore.js")", ""));
    EXPECT_TRUE(apps.front()->GetRestoreScript().GetScriptName().empty());
}

TEST_F(AppsFileTest, NoApplicationsAreNoError) {
    EXPECT_TRUE(Read(R"({"applications":[]})").empty());
}

TEST_F(AppsFileTest, EachMistakeIsNamed) {
    const struct {
        std::string json;
        const char* text;
    } cases[] = {
        {"{", "is not valid JSON"},
        {"[]", "has no list 'applications'"},
        {R"({"applications":{}})", "has no list 'applications'"},
        {R"({"applications":[7]})", "line 1, applications/0: not an object"},
        {Replaced(Good, "windowTitles", "windowTitle"), "unknown key 'windowTitle'; did you mean 'windowTitles'?"},
        {Replaced(Good, "windowTitles", "icon"), "unknown key 'icon'; known are 'friendlyName', 'executables', "},
        {Replaced(Good, R"("friendlyName":"Letters")", R"("friendlyName":"")"), "'friendlyName' must be a text"},
        {Replaced(Good, R"("friendlyName":"Letters",)", ""), "'friendlyName' must be a text"},
        {Replaced(Good, R"(["letter*.exe"])", R"("letter.exe")"), "'executables' must be a list of texts"},
        {Replaced(Good, R"(["letter*.exe"])", "[1]"), "'executables' must be a list of texts"},
        {R"({"applications":[{"friendlyName":"L","stateChanges":["standby"],"saveScript":"save.vbs"}]})",
         "needs a pattern in"},
        {Replaced(Good, R"(["standby","hibernate"])", "[]"), "'stateChanges' must name at least one state"},
        {Replaced(Good, "hibernate", "sleep"), "unknown state 'sleep'"},
        {Replaced(Good, "save.vbs", "save.txt"), "save.txt' is neither .vbs nor .js"},
        {Replaced(Good, "save.vbs", "none.vbs"), "none.vbs' cannot be read"},
        {Replaced(Good, "restore.js", "none.js"), "none.js' cannot be read"},
    };
    for (const auto& c : cases)
        EXPECT_THAT(Refusal(c.json), HasSubstr(c.text)) << c.json;
}

TEST_F(AppsFileTest, APatternThatCanNeverMatchIsAMistake) {
    const struct {
        std::string pattern;
        const char* text;
    } cases[] = {
        {"C:\\\\letters\\\\letter.exe", "executables are known by their file name without a folder"},
        {"letters/letter.exe", "executables are known by their file name without a folder"},
        {"letter", "an executable's name has its extension; write 'letter.exe' or 'letter.*'"},
        {"", "an empty pattern matches nothing"},
    };
    for (const auto& [pattern, text] : cases)
        EXPECT_THAT(Refusal(Replaced(Good, "letter*.exe", pattern)), HasSubstr(text)) << pattern;
    EXPECT_THAT(Refusal(Replaced(Good, "*Letter*", std::string(512, 'x'))), HasSubstr("no more than 511 characters"));
    for (const char* possible : {"letter.exe", "letter*", "*", "letter.*"})
        EXPECT_EQ(Refusal(Replaced(Good, "letter*.exe", possible)), "accepted") << possible;
    EXPECT_EQ(Refusal(Replaced(Good, "*Letter*", std::string(511, 'x') + "*")), "accepted");
}

TEST_F(AppsFileTest, WhatIsThereTwiceIsAMistake) {
    const std::string entry = Good.substr(Good.find('[') + 1, Good.rfind(']') - Good.find('[') - 1);
    const auto two = [&](const std::string& second) { return R"({"applications":[)" + entry + ",\n" + second + "]}"; };
    EXPECT_THAT(Refusal(two(entry)), HasSubstr("line 4, applications/1/friendlyName: 'Letters' is there already"));
    EXPECT_EQ(Refusal(two(Replaced(entry, R"(["standby","hibernate"])", R"(["shutdown"])"))), "accepted");
    EXPECT_THAT(Refusal(Replaced(Good, R"("hibernate")", R"("Standby")")), HasSubstr("'Standby' is there twice"));
    EXPECT_THAT(Refusal(Replaced(Good, R"("letter*.exe")", R"("a.exe","a.exe")")),
                HasSubstr("executables/1: the pattern 'a.exe' is there twice"));
    EXPECT_THAT(Refusal(Replaced(Good, R"("saveScript")",
                                 R"("saveScript":"x.vbs",)"
                                 "\n"
                                 R"("saveScript")")),
                HasSubstr("line 4, applications/0/saveScript: the key is there twice"));
    EXPECT_THAT(Refusal(Replaced(Good, R"({"applications")", R"({"apps":1,"applications")")),
                HasSubstr("unknown key 'apps'"));
}

TEST_F(AppsFileTest, AllMistakesAreFoundInTheirOrder) {
    const CAppsText text =
        ExamineAppsText("{\"applications\":[{\"friendlyName\":7,\n\"executables\":[\"a\"],\n\"stateChanges\":[\"nap\"],"
                        "\"saveScript\":\"s.vbs\"}]}",
                        L"x.json");
    EXPECT_TRUE(text.entries.empty());
    ASSERT_EQ(text.mistakes.size(), 3u);
    EXPECT_EQ(text.mistakes[0], L"'x.json', line 1, applications/0/friendlyName: 'friendlyName' must be a text.");
    EXPECT_TRUE(text.mistakes[1].starts_with(L"'x.json', line 2, applications/0/executables/0: 'a' can never match"));
    EXPECT_TRUE(text.mistakes[2].starts_with(L"'x.json', line 3, applications/0/stateChanges/0: unknown state 'nap'"));
}

TEST_F(AppsFileTest, TheSchemaKnowsTheSameKeysAndStates) {
    std::ifstream file(QUORLINE_DOCS "/applications.schema.json");
    const auto schema = nlohmann::json::parse(file);
    const auto& application = schema["$defs"]["application"];
    const auto whole = nlohmann::json::parse(Good);
    // What the reader takes has all the schema's keys, and no other is taken.
    std::set<std::string> keys;
    for (const auto& item : application["properties"].items())
        keys.insert(item.key());
    std::set<std::string> used;
    for (const auto& item : whole["applications"][0].items())
        used.insert(item.key());
    EXPECT_EQ(keys, used);
    for (const auto& key : keys) {
        auto without = whole;
        without["applications"][0].erase(key);
        const auto& required = application["required"];
        const bool needed = std::find(required.begin(), required.end(), key) != required.end();
        EXPECT_EQ(Refusal(without.dump()) != "accepted", needed) << key;
    }
    const auto& states = application["properties"]["stateChanges"]["items"]["enum"];
    EXPECT_EQ(states.size(), 7u);
    for (const auto& state : states)
        EXPECT_NO_THROW(StateChangeFromName(FromUtf8(state.get<std::string>()))) << state;
}

TEST_F(AppsFileTest, TheGuidesExampleIsTakenAndItsTableHasEachKeyOfIt) {
    std::ifstream file(QUORLINE_DOCS "/quorline.md");
    const std::string guide{std::istreambuf_iterator<char>(file), {}};
    const std::size_t begin = guide.find("```json\n") + 8;
    ASSERT_GT(guide.size(), begin);
    const std::string example = guide.substr(begin, guide.find("```", begin) - begin);
    const CAppsText text = ExamineAppsText(example, L"example.json");
    EXPECT_TRUE(text.mistakes.empty()) << ToUtf8(text.mistakes.front());
    ASSERT_EQ(text.entries.size(), 1u);
    const auto application = nlohmann::json::parse(example)["applications"][0];
    EXPECT_EQ(application.size(), 7u) << "each key has its example";
    for (const auto& item : application.items())
        EXPECT_THAT(guide, HasSubstr("\n| `" + item.key() + "` | "));
}

TEST_F(AppsFileTest, WithNoFileNamedTheMachinesOwnIsMeant) {
    EXPECT_TRUE(DefaultAppsFile().ends_with(L"\\Quorline\\applications.json"));
}

TEST_F(AppsFileTest, AMissingFileIsNamed) {
    try {
        ReadAppsFile(Path(L"none.json"));
        FAIL();
    } catch (const CCommandError& error) {
        EXPECT_THAT(ToUtf8(error.GetText()), HasSubstr("none.json' cannot be opened"));
    }
}

TEST(StateChangeFromName, CaseAndHyphensDoNotCount) {
    EXPECT_EQ(StateChangeFromName(L"Standby"), Standby);
    EXPECT_EQ(StateChangeFromName(L"standby-resume"), StandbyResume);
    EXPECT_EQ(StateChangeFromName(L"HIBERNATE"), Hibernate);
    EXPECT_EQ(StateChangeFromName(L"HibernateResume"), HibernateResume);
    EXPECT_EQ(StateChangeFromName(L"shutdown"), Shutdown);
    EXPECT_EQ(StateChangeFromName(L"shutdown-resume"), ShutdownResume);
    EXPECT_EQ(StateChangeFromName(L"force-shutdown"), ForceShutdown);
    EXPECT_THROW(StateChangeFromName(L""), CCommandError);
}
