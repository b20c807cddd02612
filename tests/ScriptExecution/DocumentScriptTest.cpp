// Proves an application's description, its copies and its changes: DocumentScript.

#include "DocumentScriptSupport.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <type_traits>

namespace {
CScriptWithSets FullScript() {
    CScriptWithSets script;
    script.SetScriptName(L"save.vbs");
    script.SetText(L"x = 1");
    script.SetScriptLang(CScript::LangVBScript);
    script.SetAppFriendlyName(L"Editor");
    script.SetStateChanges(Standby | Hibernate);
    CScript restore;
    restore.SetScriptName(L"restore.js");
    restore.SetText(L"var y;");
    restore.SetScriptLang(CScript::LangJScript);
    script.SetRestoreScript(restore);
    script.AddExe(L"EDITOR.EXE");
    script.AddWindowClass(L"EDIT*");
    script.AddWindowTitle(L"*- EDITOR");
    return script;
}
} // namespace

static_assert(std::is_base_of_v<CScript, CDocumentScript> && std::is_base_of_v<IProtectedAppMatcher, CDocumentScript>);

TEST(DocumentScript, ANewOneIsEmpty) {
    CDocumentScript script;
    EXPECT_EQ(L"", script.GetScriptName());
    EXPECT_EQ(L"", script.GetText());
    EXPECT_EQ(CScript::LangNone, script.GetScriptLang());
    EXPECT_EQ(L"", script.GetAppFriendlyName());
    EXPECT_EQ(CScript::LangNone, script.GetRestoreScriptLang());
    EXPECT_EQ(L"", script.GetRestoreScript().GetText());
    EXPECT_EQ(0U, script.GetStateChanges());
    const CScriptWithSets sets;
    EXPECT_EQ(nullptr, sets.m_pExes);
    EXPECT_EQ(nullptr, sets.m_pWinClasses);
    EXPECT_EQ(nullptr, sets.m_pWinTitles);
}

TEST(DocumentScript, RunsForTheStateChangesOfItsMask) {
    const struct {
        unsigned long mask;
        _STATE_CHANGE_TYPE type;
        bool runs;
    } cases[] = {
        {Standby | Hibernate, Hibernate, true},
        {Shutdown, Hibernate, false},
        {0, Standby, false},
        {0xFFFFFFFF, ForceShutdown, true},
        {ForceShutdown, Shutdown, false},
        {Hibernate, static_cast<_STATE_CHANGE_TYPE>(Standby | Hibernate), true},
        {0xFFFFFFFF, static_cast<_STATE_CHANGE_TYPE>(0), false},
    };
    for (const auto& each : cases) {
        CDocumentScript script;
        script.SetStateChanges(each.mask);
        EXPECT_EQ(each.mask, script.GetStateChanges());
        EXPECT_EQ(each.runs, script.ShouldRunForStateChange(each.type)) << each.mask << ", " << each.type;
    }
}

TEST(DocumentScript, HoldsTheRestoreScriptAndItsLanguage) {
    CDocumentScript script;
    CScript restore;
    restore.SetText(L"text");
    restore.SetScriptLang(CScript::LangVBScript);
    script.SetRestoreScript(restore);
    EXPECT_EQ(L"text", script.GetRestoreScript().GetText());
    EXPECT_EQ(CScript::LangVBScript, script.GetRestoreScriptLang());
    script.SetRestoreScriptLang(CScript::LangJScript);
    EXPECT_EQ(CScript::LangJScript, script.GetRestoreScript().GetScriptLang());
    EXPECT_EQ(CScript::LangVBScript, restore.GetScriptLang());
    script.GetRestoreScript().SetText(L"changed");
    const CDocumentScript& constant = script;
    EXPECT_EQ(L"changed", constant.GetRestoreScript().GetText());
    EXPECT_EQ(CScript::LangNone, script.GetScriptLang());
}

TEST(DocumentScript, InitReadsNothing) {
    CDocumentScript script = FullScript();
    script.Init(nullptr);
    EXPECT_TRUE(script == FullScript());
}

TEST(DocumentScript, CopiesAreEqualAndIndependent) {
    const CScriptWithSets source = FullScript();
    CScriptWithSets copy(source);
    CScriptWithSets assigned;
    assigned.AddExe(L"gone.exe");
    assigned.AddWindowTitle(L"gone");
    EXPECT_EQ(&assigned, &(assigned = source));
    for (CScriptWithSets* const script : {&copy, &assigned}) {
        EXPECT_TRUE(*script == source);
        EXPECT_EQ(L"Editor", script->GetAppFriendlyName());
        EXPECT_EQ(L"x = 1", script->GetText());
        EXPECT_EQ((std::set<std::wstring>{L"EDITOR.EXE"}), *script->m_pExes);
        script->AddExe(L"more.exe");
    }
    EXPECT_EQ((std::set<std::wstring>{L"EDITOR.EXE"}), *source.m_pExes);
}

TEST(DocumentScript, CopyingNoSetLeavesNoSet) {
    CScriptWithSets target = FullScript();
    target.InitFrom(CScriptWithSets());
    EXPECT_EQ(nullptr, target.m_pExes);
    EXPECT_EQ(nullptr, target.m_pWinClasses);
    EXPECT_EQ(nullptr, target.m_pWinTitles);
    CScriptWithSets empty;
    empty.m_pExes = std::make_unique<std::set<std::wstring>>();
    target.InitFrom(empty);
    ASSERT_NE(nullptr, target.m_pExes);
    EXPECT_NE(empty.m_pExes, target.m_pExes);
    EXPECT_TRUE(target.m_pExes->empty());
}

TEST(DocumentScript, AssigningToItselfKeepsEverything) {
    CDocumentScript script = FullScript();
    const CDocumentScript& same = script;
    script = same;
    EXPECT_TRUE(script == FullScript());
}

TEST(DocumentScript, IsDeletedThroughItsScriptBase) {
    std::unique_ptr<CScript> script = std::make_unique<CScriptWithSets>(FullScript());
    EXPECT_TRUE(script->ShouldRun(nullptr));
    script.reset();
    EXPECT_EQ(nullptr, script);
}

TEST(DocumentScript, ComparisonNamesTheFirstDifferenceOnStandardOutput) {
    using CChange = void (*)(CScriptWithSets&);
    const struct {
        const char* name;
        CChange change;
        bool equal;
        const char* output;
    } cases[] = {
        {"nothing", [](CScriptWithSets&) {}, true, ""},
        {"text", [](CScriptWithSets& s) { s.SetText(L"other"); }, false, ""},
        {"text case", [](CScriptWithSets& s) { s.SetText(L"X = 1"); }, true, ""},
        {"language", [](CScriptWithSets& s) { s.SetScriptLang(CScript::LangNone); }, false, ""},
        {"name case", [](CScriptWithSets& s) { s.SetAppFriendlyName(L"EDITOR"); }, true, ""},
        {"name", [](CScriptWithSets& s) { s.SetAppFriendlyName(L"Other"); }, false, "m_appFriendlyName\n"},
        {"mask", [](CScriptWithSets& s) { s.SetStateChanges(Standby); }, false, "m_stateChanges\n"},
        {"restore", [](CScriptWithSets& s) { s.GetRestoreScript().SetText(L"z"); }, false, "m_restoreScript\n"},
        {"exe added", [](CScriptWithSets& s) { s.AddExe(L"b.exe"); }, false, "m_pExes\n"},
        {"no exes", [](CScriptWithSets& s) { s.m_pExes.reset(); }, false, "m_pExes\n"},
        {"exes emptied", [](CScriptWithSets& s) { s.m_pExes->clear(); }, false, "m_pExes\n"},
        {"other exe", [](CScriptWithSets& s) { s.m_pExes->clear(), s.AddExe(L"b.exe"); }, false, "m_pExes\n"},
        {"class added", [](CScriptWithSets& s) { s.AddWindowClass(L"b"); }, false, "m_pWinClasses\n"},
        {"no classes", [](CScriptWithSets& s) { s.m_pWinClasses.reset(); }, false, "m_pWinClasses\n"},
        {"title added", [](CScriptWithSets& s) { s.AddWindowTitle(L"b"); }, false, "m_pWinTitles\n"},
        {"no titles", [](CScriptWithSets& s) { s.m_pWinTitles.reset(); }, false, "m_pWinTitles\n"},
        {"name and mask", [](CScriptWithSets& s) { s.SetAppFriendlyName(L"x"), s.SetStateChanges(0); }, false,
         "m_appFriendlyName\n"},
        {"classes and titles", [](CScriptWithSets& s) { s.AddWindowTitle(L"b"), s.AddWindowClass(L"b"); }, false,
         "m_pWinClasses\n"},
    };
    const CScriptWithSets original = FullScript();
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        CScriptWithSets changed = FullScript();
        each.change(changed);
        for (const bool swapped : {false, true}) {
            const CDocumentScript& left = swapped ? changed : original;
            const CDocumentScript& right = swapped ? original : changed;
            testing::internal::CaptureStdout();
            const bool equal = left == right;
            EXPECT_EQ(each.output, testing::internal::GetCapturedStdout());
            EXPECT_EQ(each.equal, equal);
            testing::internal::CaptureStdout();
            EXPECT_NE(equal, left != right);
            EXPECT_EQ(each.output, testing::internal::GetCapturedStdout());
        }
    }
}

TEST(DocumentScript, AnEmptyTitleSetDiffersFromNone) {
    const CScriptWithSets none;
    CScriptWithSets empty;
    empty.m_pWinTitles = std::make_unique<std::set<std::wstring>>();
    testing::internal::CaptureStdout();
    EXPECT_FALSE(none == empty);
    EXPECT_EQ("m_pWinTitles\n", testing::internal::GetCapturedStdout());
    CScriptWithSets alsoEmpty;
    alsoEmpty.m_pWinTitles = std::make_unique<std::set<std::wstring>>();
    EXPECT_TRUE(empty == alsoEmpty);
}
