// The time that a process has for the answers of all its windows together. No test waits for it: the clock and the
// answers come from the tests. Proves Ask of host/session/TargetProcess.

#include "WindowQuestions.h"

namespace {
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr HRESULT TooLate = HRESULT_FROM_WIN32(ERROR_TIMEOUT);

class TheTimeToAnswer : public CSessionTest {
protected:
    static HRESULT ReadTitle(IProcessWindow* window) {
        CComBSTR title;
        return window->get_Title(&title);
    }

    const CRunningApp app{{{true, L"QlSlow", L"one"}, {true, L"QlSlow", L"two"}, {true, L"QlSlow", L"three"}}};
    const CComPtr<IProcess> process = ProcessOf(app.Id());
    CWindowQuestions questions;
};
} // namespace

TEST_F(TheTimeToAnswer, IsOneForAllWindowsOfAProcess) {
    questions.takes = 4000;
    EXPECT_EQ(ReadTitle(WindowOf(process, 0)), S_OK);
    EXPECT_EQ(ReadTitle(WindowOf(process, 1)), TooLate);
    EXPECT_THAT(Description(), EndsWith(L"(TestApp.exe): the window does not answer"));
    EXPECT_EQ(ReadTitle(WindowOf(process, 2)), TooLate);
    // Two questions a title: the length and the text.
    EXPECT_THAT(questions.allowed, ElementsAre(10'000, 6000, 2000));
    EXPECT_EQ(questions.passed, 10'000u);
}

TEST_F(TheTimeToAnswer, IsUsedUpForGood) {
    questions.takes = 60'000;
    EXPECT_EQ(ReadTitle(WindowOf(process)), TooLate);
    questions.takes = 0;
    questions.allowed.clear();
    for (long index = 0; index < 3; ++index) {
        const auto window = WindowOf(process, index);
        EXPECT_EQ(ReadTitle(window), TooLate);
        EXPECT_EQ(TextOf(window.p, &IProcessWindow::get_ClassName), L"QlSlow") << "what needs no answer is there";
    }
    EXPECT_THAT(questions.allowed, IsEmpty()) << "no window was asked";
}

TEST_F(TheTimeToAnswer, UsedUpIsAnErrorThatSaysSo) {
    questions.takes = 60'000;
    EXPECT_EQ(ReadTitle(WindowOf(process)), TooLate);
    EXPECT_EQ(ReadTitle(WindowOf(process, 1)), TooLate);
    EXPECT_THAT(Description(), EndsWith(L" of process " + std::to_wstring(app.Id()) +
                                        L" (TestApp.exe): the process has used up the 10 seconds in which its windows "
                                        L"had to answer"));
    for (const wchar_t* language : Languages) {
        CScriptEngine engine(language);
        engine.AddItem(L"Process", process);
        EXPECT_FALSE(engine.Run(L"text = Process.Windows.Item(2).Text"));
        EXPECT_EQ(engine.Error().code, TooLate);
        EXPECT_THAT(engine.Error().description, HasSubstr(L"has used up the 10 seconds"));
    }
}

TEST_F(TheTimeToAnswer, IsSharedByEveryWindowsObjectOfTheProcess) {
    questions.takes = 4000;
    const auto before = WindowOf(process);
    EXPECT_EQ(ReadTitle(WindowOf(process)), S_OK);
    EXPECT_EQ(ReadTitle(before), TooLate);
}

TEST_F(TheTimeToAnswer, RunsWhileAWindowIsWaitedForAndNotWhileTheScriptWorks) {
    questions.takes = 100;
    const auto window = WindowOf(process);
    for (int i = 0; i < 10; ++i) {
        questions.passed += 60'000;
        EXPECT_EQ(ReadTitle(window), S_OK);
    }
    EXPECT_LE(questions.allowed.back(), 10'000u - 19 * 100);
    EXPECT_GT(questions.allowed.back(), 5000u);
}

TEST_F(TheTimeToAnswer, BelongsToOneProcess) {
    const CRunningApp other({{true, L"QlSlow", L"other"}});
    questions.takes = 60'000;
    EXPECT_EQ(ReadTitle(WindowOf(process)), TooLate);
    questions.takes = 0;
    EXPECT_EQ(ReadTitle(WindowOf(ProcessOf(other.Id()))), S_OK);
}
