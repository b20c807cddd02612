// Proves what an applications file must be like: AppsFile, AppsText.

#include "AppsFile.h"
#include "Console.h"
#include "ExitCode.h"
#include "TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

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
        {R"({"applications":[7]})", "application 1: not an object"},
        {Replaced(Good, "windowTitles", "windowTitle"), "unknown key 'windowTitle'"},
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
