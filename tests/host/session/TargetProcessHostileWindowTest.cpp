// Windows that lie about their texts, as C++ and scripts of both engines meet them: no answer leads out of the buffer,
// into memory that nobody needs, or past the script. Proves ReadText of host/session/TargetProcess.

#include "WindowQuestions.h"

#include <cstdlib>

namespace {
using testing::AllOf;
using testing::AnyOf;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::Le;
using testing::StartsWith;

constexpr std::size_t LongestText = 16'777'216;
constexpr wchar_t Honest[] = L"An honest text of a window";

/// An application with one window of this behaviour.
class CHostileApp : public CRunningApp {
public:
    explicit CHostileApp(const wchar_t* behaviour, const std::wstring& text = Honest)
        : CRunningApp({{true, behaviour, text}}, {TestFolder() + L"\\HostileApp.exe"}) {}
};

/// A window of this very process, whose answers reach the session's objects as they are: between processes the system
/// drops some of what is wrong with them.
class COwnWindow {
public:
    COwnWindow() {
        WNDCLASSW windowClass{};
        windowClass.lpfnWndProc = &Answer;
        windowClass.hInstance = GetModuleHandleW(nullptr);
        windowClass.lpszClassName = L"QlOwnWindow";
        RegisterClassW(&windowClass);
        m_window = CreateWindowExW(0, windowClass.lpszClassName, L"", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 200, 100,
                                   nullptr, nullptr, windowClass.hInstance, nullptr);
        SetWindowLongPtrW(m_window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    }
    ~COwnWindow() { DestroyWindow(m_window); }
    COwnWindow(const COwnWindow&) = delete;
    COwnWindow& operator=(const COwnWindow&) = delete;

    std::wstring text = Honest;
    LRESULT count = 0; ///< what WM_GETTEXT answers

private:
    static LRESULT CALLBACK Answer(HWND window, UINT message, WPARAM room, LPARAM buffer) {
        const auto* self = reinterpret_cast<const COwnWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        if (self == nullptr || message != WM_GETTEXT)
            return DefWindowProcW(window, message, room, buffer);
        self->text.copy(reinterpret_cast<wchar_t*>(buffer), room);
        return self->count;
    }

    HWND m_window = nullptr;
};

class AHostileWindow : public CSessionTest {
protected:
    /// Not so in Wine from version 10 on: it carries a text over the stack of the thread that answers.
    static bool CarriesTheLongestText() {
        const auto version = reinterpret_cast<const char* (*)()>(
            reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version")));
        return version == nullptr || std::atoi(version()) < 10;
    }

    /// The value of an expression that a script of this language works out, or the description of the error that ends
    /// it.
    static std::wstring Run(const wchar_t* language, IProcess* process, const std::wstring& expression) {
        CScriptEngine engine(language);
        engine.AddItem(L"Process", process);
        return engine.Run((L"value = " + expression).c_str()) ? engine.Value(L"value") : engine.Error().description;
    }

    CWindowQuestions questions;
};
} // namespace

TEST_F(AHostileWindow, IsReadToTheEndOfItsTextWhateverItSaysOfTheLength) {
    for (const wchar_t* behaviour : {L"Honest", L"LengthMinusOne", L"LengthMinusTwo", L"LengthTwoToThe47th",
                                     L"LengthMaximalInt", L"LengthZero", L"LengthTooLow"}) {
        const CHostileApp app(behaviour);
        const auto process = ProcessOf(app.Id());
        EXPECT_EQ(TextOf(WindowOf(process).p, &IProcessWindow::get_Text), Honest) << behaviour;
        EXPECT_EQ(TextOf(WindowOf(process).p, &IProcessWindow::get_Title), Honest) << behaviour;
        for (const wchar_t* language : Languages) {
            EXPECT_EQ(Run(language, process, L"Process.Windows.Item(0).Text"), Honest) << behaviour;
            EXPECT_EQ(Run(language, process, L"Process.Windows.Item(0).Title"), Honest) << behaviour;
        }
        EXPECT_THAT(questions.rooms, Each(256u)) << behaviour;
    }
    EXPECT_THAT(log.Of(L"Session.Windows"), IsEmpty());
}

TEST_F(AHostileWindow, IsReadNoFurtherThanTheBufferWhateverItSaysThatItWrote) {
    COwnWindow window;
    const auto process = ProcessOf(GetCurrentProcessId());
    for (const LRESULT count : {-1LL, -2LL, 1LL << 47, 0x7FFFFFFFLL, 0x80000000LL, 256LL, 255LL, 100LL}) {
        window.count = count;
        EXPECT_EQ(TextOf(WindowOf(process).p, &IProcessWindow::get_Text), Honest) << count;
        for (const wchar_t* language : Languages)
            EXPECT_EQ(Run(language, process, L"Process.Windows.Item(0).Text"), Honest) << count;
    }
    window.count = 9;
    EXPECT_EQ(TextOf(WindowOf(process).p, &IProcessWindow::get_Text), L"An honest") << "it may say less";
    EXPECT_THAT(questions.rooms, Each(Le(256u)));
}

TEST_F(AHostileWindow, OfAnotherProcessEndsNoScriptWhateverItSaysThatItWrote) {
    questions.patience = 300; // the system itself passes some of these answers on to nobody, or ends who gives them
    const auto answers = AnyOf(S_OK, HRESULT_FROM_WIN32(ERROR_TIMEOUT), HRESULT_FROM_WIN32(ERROR_INVALID_WINDOW_HANDLE),
                               E_INVALIDARG /* no window is left */);
    for (const wchar_t* behaviour :
         {L"CountMinusOne", L"CountMinusTwo", L"CountTwoToThe47th", L"CountMaximalInt", L"CountBeyondTheRoom"}) {
        const CHostileApp app(behaviour);
        const auto process = ProcessOf(app.Id());
        CComBSTR text;
        const HRESULT result = WindowOf(process)->get_Text(&text);
        EXPECT_THAT(result, answers) << behaviour;
        EXPECT_THAT(std::wstring(Honest), StartsWith(text ? text.m_str : L"")) << behaviour;
        for (const wchar_t* language : Languages) {
            CScriptEngine engine(language);
            engine.AddItem(L"Process", process);
            const bool read = engine.Run(L"text = Process.Windows.Item(0).Text");
            EXPECT_THAT(read ? S_OK : engine.Error().code, answers) << behaviour;
            EXPECT_TRUE(engine.Run(L"alive = 1")) << behaviour;
        }
    }
}

TEST_F(AHostileWindow, WithoutAnEndIsCutOffAndTheLogSaysSo) {
    if (!CarriesTheLongestText())
        GTEST_SKIP() << "the system does not carry texts of this length";
    for (const wchar_t* behaviour : {L"NoTerminator", L"AlwaysFull"}) {
        const CHostileApp app(behaviour);
        const auto process = ProcessOf(app.Id());
        log.Clear();
        CComBSTR text;
        ASSERT_EQ(WindowOf(process)->get_Text(&text), S_OK);
        EXPECT_EQ(text.Length(), LongestText);
        EXPECT_EQ(std::wstring(text, text.Length()).find_first_not_of(L'x'), std::wstring::npos);
        EXPECT_THAT(
            log.Of(L"Session.Windows"),
            ElementsAre(L"WARN A window of process " + std::to_wstring(app.Id()) +
                        L" (HostileApp.exe) has a text of more than 16777216 characters; the rest was left out"));
        EXPECT_EQ(Run(L"VBScript", process, L"Len(Process.Windows.Item(0).Text)"), std::to_wstring(LongestText));
        EXPECT_EQ(Run(L"JScript", process, L"Process.Windows.Item(0).Text.length"), std::to_wstring(LongestText));
        EXPECT_THAT(questions.rooms, Each(Le(LongestText + 2)));
    }
}

TEST_F(AHostileWindow, ThatNeverAnswersIsAScriptErrorThatNamesIt) {
    questions.patience = 300;
    const CHostileApp app(L"NeverAnswers");
    const auto process = ProcessOf(app.Id());
    long handle = 0;
    WindowOf(process)->get_Handle(&handle);
    wchar_t number[16];
    _snwprintf_s(number, std::size(number), _TRUNCATE, L"0x%lx", handle);
    const std::wstring named = L" of window " + std::wstring(number) + L" of process " + std::to_wstring(app.Id()) +
                               L" (HostileApp.exe): the window does not answer";
    auto* text = reinterpret_cast<BSTR>(1);
    EXPECT_EQ(WindowOf(process)->get_Text(&text), HRESULT_FROM_WIN32(ERROR_TIMEOUT));
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(Description(), L"Text" + named);
    for (const wchar_t* language : Languages)
        EXPECT_EQ(Run(language, process, L"Process.Windows.Item(0).Title"), L"Title" + named);
}

TEST_F(AHostileWindow, ThatEndsItsProcessWhenItIsAskedIsAScriptErrorThatSaysSo) {
    for (const wchar_t* language : Languages) {
        const CHostileApp app(L"Ends");
        const auto process = ProcessOf(app.Id());
        EXPECT_THAT(Run(language, process, L"Process.Windows.Item(0).Text"),
                    AllOf(StartsWith(L"Text of window 0x"), EndsWith(L": the process has ended")));
    }
}

TEST_F(AHostileWindow, MayBeHonestAndSmallAndThenCostsLittle) {
    const CHostileApp app(L"Honest");
    EXPECT_EQ(TextOf(WindowOf(ProcessOf(app.Id())).p, &IProcessWindow::get_Text), Honest);
    EXPECT_THAT(questions.rooms, ElementsAre(256u));
}

TEST_F(AHostileWindow, MayBeHonestAndLargeAndIsThenReadWhole) {
    const CHostileApp app(L"Honest", std::wstring(3000, L'z'));
    EXPECT_EQ(TextOf(WindowOf(ProcessOf(app.Id())).p, &IProcessWindow::get_Text), std::wstring(3000, L'z'));
    EXPECT_THAT(questions.rooms, ElementsAre(3002u)) << "at once, since the window said how much there is";
}

TEST_F(AHostileWindow, MayFillTheRoomAndIsGivenMore) {
    COwnWindow window;
    const auto process = ProcessOf(GetCurrentProcessId());
    for (const std::size_t length : {254u, 255u, 256u, 1023u, 70'000u}) {
        window.text = std::wstring(length, L'y');
        window.count = static_cast<LRESULT>(length);
        EXPECT_EQ(TextOf(WindowOf(process).p, &IProcessWindow::get_Text), window.text) << length;
    }
}

TEST_F(AHostileWindow, IsCutAtTheLimitAndNotBefore) {
    if (!CarriesTheLongestText())
        GTEST_SKIP() << "the system does not carry texts of this length";
    COwnWindow window;
    const auto process = ProcessOf(GetCurrentProcessId());
    for (const auto& [length, lines] : {std::pair{LongestText, 0u}, std::pair{LongestText + 1, 1u}}) {
        window.text = std::wstring(length, L'y');
        window.count = static_cast<LRESULT>(length);
        CComBSTR text;
        ASSERT_EQ(WindowOf(process)->get_Text(&text), S_OK);
        EXPECT_EQ(text.Length(), LongestText);
        EXPECT_EQ(log.Of(L"Session.Windows").size(), lines) << length;
    }
}
