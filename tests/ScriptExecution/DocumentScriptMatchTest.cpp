// Proves which names, titles and classes a pattern matches: WildcardPattern, DocumentScript.

#include "DocumentScriptSupport.h"
#include "protection/ProcessInfo.h"
#include "protection/WindowInfo.h"

#include <gtest/gtest.h>

#include <memory>

namespace {
bool MatchesProcess(const CDocumentScript& script, const std::wstring& imageName) {
    CProcessInfo process;
    process.m_imageName = imageName;
    process.m_processId = 1;
    return static_cast<const IProtectedAppMatcher&>(script).IsMatchingProcess(process);
}

bool MatchesWindow(const CDocumentScript& script, const std::wstring& title, const std::wstring& className) {
    CWindowInfo window;
    window.m_title = title;
    window.m_className = className;
    return static_cast<const IProtectedAppMatcher&>(script).IsMatchingWindow(window);
}
} // namespace

TEST(DocumentScriptMatch, PatternsMatchByTheFirstOccurrenceOfEachRun) {
    const struct {
        std::wstring pattern;
        std::wstring value;
        bool matches;
    } cases[] = {
        {L"WIN*.EXE", L"WINWORD.EXE", true},
        {L"*WORD*", L"WINWORD.EXE", true},
        {L"*.EXE", L"A.EXE", true},
        {L"*AB", L"XABAB", false},
        {L"*AB", L"XAB", true},
        {L"*AB*", L"XABAB", true},
        {L"", L"", true},
        {L"", L"A", false},
        {L"*", L"", true},
        {L"*", L"ANYTHING", true},
        {L"***", L"", true},
        {L"***", L"ANYTHING", true},
        {L"A", L"", false},
        {L"*A", L"", false},
        {L"A.EXE", L"A.EXE", true},
        {L"A.EXE", L"A.EX", false},
        {L"A.EX", L"A.EXE", false},
        {L"A.EXE", L"B.EXE", false},
        {L"A*", L"A", true},
        {L"A***", L"A", true},
        {L"A*B", L"A", false},
        {L"A*B", L"AB", true},
        {L"A**B", L"AXB", true},
        {L"A*B", L"AXBY", false},
        {L"A*B*C", L"AXBYC", true},
        {L"A*B*C", L"AXCYB", false},
        {L"*A*B*", L"XAYBZ", true},
        {L"*A*B*", L"XBYAZ", false},
        {L"*ABC", L"ABABC", true},
        {L"*A", L"B", false},
        {L"*AB", L"A", false},
        {L"?.EXE", L"A.EXE", false},
        {L"?.EXE", L"?.EXE", true},
        {L"[A]", L"[A]", true},
        {L"*\\*", L"A\\B", true},
        {L"*" + std::wstring(1023, L'X'), std::wstring(1023, L'X'), true},
        {L"*" + std::wstring(1024, L'X'), L"Y" + std::wstring(1024, L'X'), true},
        {L"*" + std::wstring(5000, L'X') + L"*Z", L"Y" + std::wstring(5000, L'X') + L"Z", true},
        {L"*" + std::wstring(5000, L'X'), L"Y" + std::wstring(4999, L'X'), false},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(testing::Message() << "pattern " << testing::PrintToString(each.pattern.substr(0, 20))
                                        << ", value " << testing::PrintToString(each.value.substr(0, 20)));
        CDocumentScript script;
        script.AddExe(each.pattern);
        EXPECT_EQ(each.matches, MatchesProcess(script, each.value));
        CDocumentScript windows;
        windows.AddWindowTitle(each.pattern);
        EXPECT_EQ(each.matches, MatchesWindow(windows, each.value, L"NO SUCH CLASS *"));
    }
}

TEST(DocumentScriptMatch, AProcessMatchesByAnyExePatternAndNoneWithoutPatterns) {
    CDocumentScript script;
    EXPECT_FALSE(MatchesProcess(script, L""));
    script.AddWindowTitle(L"*");
    script.AddWindowClass(L"*");
    EXPECT_FALSE(MatchesProcess(script, L"A.EXE"));
    script.AddExe(L"a.exe");
    script.AddExe(L"b*.exe");
    EXPECT_TRUE(MatchesProcess(script, L"A.EXE"));
    EXPECT_TRUE(MatchesProcess(script, L"BC.EXE"));
    EXPECT_FALSE(MatchesProcess(script, L"C.EXE"));
    EXPECT_FALSE(MatchesProcess(script, L"C:\\DIR\\A.EXE"));
}

TEST(DocumentScriptMatch, AWindowMatchesByItsTitleOrByItsClass) {
    CDocumentScript script;
    EXPECT_FALSE(MatchesWindow(script, L"", L""));
    script.AddExe(L"*");
    EXPECT_FALSE(MatchesWindow(script, L"LETTER", L"EDIT"));
    script.AddWindowClass(L"Edit");
    EXPECT_TRUE(MatchesWindow(script, L"LETTER", L"EDIT"));
    EXPECT_TRUE(MatchesWindow(script, L"", L"EDIT"));
    EXPECT_FALSE(MatchesWindow(script, L"EDIT", L"LETTER"));
    script.AddWindowTitle(L"Let*");
    EXPECT_TRUE(MatchesWindow(script, L"LETTER", L"OTHER"));
    EXPECT_TRUE(MatchesWindow(script, L"OTHER", L"EDIT"));
    EXPECT_FALSE(MatchesWindow(script, L"OTHER", L"OTHER"));
}

TEST(DocumentScriptMatch, AnEmptySetMatchesNothingLikeNoSet) {
    CScriptWithSets script;
    script.m_pExes = std::make_unique<std::set<std::wstring>>();
    script.m_pWinClasses = std::make_unique<std::set<std::wstring>>();
    script.m_pWinTitles = std::make_unique<std::set<std::wstring>>();
    EXPECT_FALSE(MatchesProcess(script, L""));
    EXPECT_FALSE(MatchesWindow(script, L"", L""));
}
