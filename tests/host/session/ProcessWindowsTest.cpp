// The windows of a process: which are there, how they are counted and walked, and what each says. Proves
// host/session/ProcessWindows, ProcessWindow and VariantEnumerator.

#include "SessionFixture.h"

namespace {
using testing::ElementsAre;
using testing::EndsWith;
using testing::UnorderedElementsAre;

class TheWindows : public CSessionTest {
protected:
    CComPtr<IEnumVARIANT> Enumerator() const {
        CComPtr<IUnknown> walked;
        EXPECT_EQ(WindowsOf(process)->get__NewEnum(&walked), S_OK);
        return CComPtr<IEnumVARIANT>(CComQIPtr<IEnumVARIANT>(walked));
    }

    /// The titles of the next ones, as many as were given; the call's result is kept.
    std::vector<std::wstring> Next(IEnumVARIANT* enumerator, ULONG count) {
        std::vector<CComVariant> items(count);
        ULONG fetched = 99;
        result = enumerator->Next(count, items.data(), &fetched);
        EXPECT_LE(fetched, count);
        std::vector<std::wstring> titles;
        for (ULONG i = 0; i < fetched; ++i) {
            const CComQIPtr<IProcessWindow> window(items[i].pdispVal);
            titles.push_back(TextOf(window.p, &IProcessWindow::get_Title));
        }
        return titles;
    }

    const CRunningApp app{{{true, L"QlShown", L"one"},
                           {false, L"QlHidden", L"hidden"},
                           {true, L"QlShown", L"two"},
                           {true, L"QlOther", L"three"}}};
    const CRunningApp stranger{{{true, L"QlShown", L"of another process"}}};
    const CComPtr<IProcess> process = ProcessOf(app.Id());
    std::vector<std::wstring> titles = Next(Enumerator(), 3);
    HRESULT result = S_OK;
};
} // namespace

TEST_F(TheWindows, AreTheVisibleOnesOfTheProcess) {
    EXPECT_THAT(titles, UnorderedElementsAre(L"one", L"two", L"three"));
    long count = 0;
    EXPECT_EQ(WindowsOf(process)->get_Count(&count), S_OK);
    EXPECT_EQ(count, 3);
}

TEST_F(TheWindows, AreCountedFromZero) {
    const auto windows = WindowsOf(process);
    for (long index = 0; index < 3; ++index) {
        CComPtr<IProcessWindow> window;
        ASSERT_EQ(windows->get_Item(index, &window), S_OK);
        EXPECT_EQ(TextOf(window.p, &IProcessWindow::get_Title), titles[static_cast<std::size_t>(index)]);
    }
    for (const long index : {3L, 4L, LONG_MAX, -1L, LONG_MIN}) {
        auto* window = reinterpret_cast<IProcessWindow*>(1);
        EXPECT_EQ(windows->get_Item(index, &window), E_INVALIDARG) << index;
        EXPECT_EQ(window, nullptr);
        EXPECT_THAT(Description(), EndsWith(L"(TestApp.exe): there is no window " + std::to_wstring(index) +
                                            L" among 3, which count from 0"));
    }
}

TEST_F(TheWindows, AtTheCountAreAScriptErrorThatSaysSo) {
    const struct {
        const wchar_t* language;
        const wchar_t* script;
    } scripts[] = {{L"VBScript", L"Dim w\nSet w = Process.Windows.Item(Process.Windows.Count)"},
                   {L"JScript", L"\nvar w = Process.Windows.Item(Process.Windows.Count);"}};
    for (const auto& test : scripts) {
        CScriptEngine engine(test.language);
        engine.AddItem(L"Process", process);
        EXPECT_FALSE(engine.Run(test.script));
        EXPECT_EQ(engine.Error().line, 2u);
        EXPECT_EQ(engine.Error().source, L"Talvinor.Session");
        EXPECT_THAT(engine.Error().description, EndsWith(L"there is no window 3 among 3, which count from 0"));
    }
}

TEST_F(TheWindows, AreWalkedInOrder) {
    const auto enumerator = Enumerator();
    EXPECT_THAT(Next(enumerator, 1), ElementsAre(titles[0]));
    EXPECT_EQ(result, S_OK);
    EXPECT_THAT(Next(enumerator, 2), ElementsAre(titles[1], titles[2]));
    EXPECT_EQ(result, S_OK);
    EXPECT_THAT(Next(enumerator, 1), ElementsAre());
    EXPECT_EQ(result, S_FALSE);
}

TEST_F(TheWindows, AreGivenAsFarAsThereAreAny) {
    const auto enumerator = Enumerator();
    EXPECT_THAT(Next(enumerator, 4), ElementsAre(titles[0], titles[1], titles[2]));
    EXPECT_EQ(result, S_FALSE);
    EXPECT_THAT(Next(enumerator, 4), ElementsAre());
    EXPECT_EQ(result, S_FALSE);
    EXPECT_THAT(Next(enumerator, 0), ElementsAre());
    EXPECT_EQ(result, S_OK) << "none were asked for";
}

TEST_F(TheWindows, MayBeTakenOneByOneWithoutACount) {
    const auto enumerator = Enumerator();
    for (std::size_t index = 0; index < 3; ++index) {
        CComVariant item;
        EXPECT_EQ(enumerator->Next(1, &item, nullptr), S_OK);
        EXPECT_EQ(item.vt, VT_DISPATCH);
    }
    CComVariant item;
    EXPECT_EQ(enumerator->Next(1, &item, nullptr), S_FALSE);
    EXPECT_EQ(item.vt, VT_EMPTY);
}

TEST_F(TheWindows, MayBeSkipped) {
    const auto enumerator = Enumerator();
    EXPECT_EQ(enumerator->Skip(0), S_OK);
    EXPECT_EQ(enumerator->Skip(2), S_OK);
    EXPECT_THAT(Next(enumerator, 1), ElementsAre(titles[2]));
    EXPECT_EQ(enumerator->Skip(1), S_FALSE) << "past the end";
    EXPECT_THAT(Next(enumerator, 1), ElementsAre());
    EXPECT_EQ(enumerator->Reset(), S_OK);
    EXPECT_EQ(enumerator->Skip(3), S_OK) << "to the end, but not past it";
    EXPECT_EQ(enumerator->Reset(), S_OK);
    EXPECT_EQ(enumerator->Skip(ULONG_MAX), S_FALSE);
    EXPECT_THAT(Next(enumerator, 1), ElementsAre());
}

TEST_F(TheWindows, AreWalkedAgainAfterAReset) {
    const auto enumerator = Enumerator();
    Next(enumerator, 3);
    EXPECT_EQ(enumerator->Reset(), S_OK);
    EXPECT_THAT(Next(enumerator, 3), ElementsAre(titles[0], titles[1], titles[2]));
}

TEST_F(TheWindows, AreWalkedOnByACloneFromWhereItWasMade) {
    const auto enumerator = Enumerator();
    Next(enumerator, 1);
    CComPtr<IEnumVARIANT> clone;
    ASSERT_EQ(enumerator->Clone(&clone), S_OK);
    EXPECT_THAT(Next(enumerator, 2), ElementsAre(titles[1], titles[2]));
    EXPECT_THAT(Next(clone, 1), ElementsAre(titles[1])) << "each has a place of its own";
    EXPECT_EQ(clone->Reset(), S_OK);
    EXPECT_THAT(Next(clone, 1), ElementsAre(titles[0]));
    EXPECT_THAT(Next(enumerator, 1), ElementsAre());
}

TEST_F(TheWindows, AreWalkedByScripts) {
    const struct {
        const wchar_t* language;
        const wchar_t* script;
    } scripts[] = {
        {L"VBScript", L"Dim all, w\nFor Each w In Process.Windows\nall = all & w.Title & \";\"\nNext\n"
                      L"first = Process.Windows(0).Title"},
        // Counted: Wine's Enumerator walks no host's objects.
        {L"JScript", L"var all = '', windows = Process.Windows;\n"
                     L"for (var i = 0; i < windows.Count; i++) all += windows.Item(i).Title + ';';\n"
                     L"var first = Process.Windows(0).Title;"},
    };
    for (const auto& test : scripts) {
        CScriptEngine engine(test.language);
        engine.AddItem(L"Process", process);
        EXPECT_TRUE(engine.Run(test.script)) << engine.Error().description;
        EXPECT_EQ(engine.Value(L"all"), titles[0] + L";" + titles[1] + L";" + titles[2] + L";");
        EXPECT_EQ(engine.Value(L"first"), titles[0]);
    }
}

TEST_F(TheWindows, SayWhatTheyAre) {
    for (long index = 0; index < 3; ++index) {
        const auto window = WindowOf(process, index);
        const std::wstring title = TextOf(window.p, &IProcessWindow::get_Title);
        EXPECT_EQ(TextOf(window.p, &IProcessWindow::get_ClassName), title == L"three" ? L"QlOther" : L"QlShown");
        EXPECT_EQ(TextOf(window.p, &IProcessWindow::get_Text), title) << "without an edit control, its own text";
        long handle = 0;
        EXPECT_EQ(window->get_Handle(&handle), S_OK);
        DWORD owner = 0;
        GetWindowThreadProcessId(static_cast<HWND>(LongToHandle(handle)), &owner);
        EXPECT_EQ(owner, app.Id());
        VARIANT_BOOL visible = VARIANT_FALSE;
        EXPECT_EQ(window->get_Visible(&visible), S_OK);
        EXPECT_EQ(visible, VARIANT_TRUE);
    }
}

TEST_F(TheWindows, AnEditControlThatNobodySeesIsNotTheirText) {
    const auto window = WindowOf(process);
    long handle = 0;
    ASSERT_EQ(window->get_Handle(&handle), S_OK);
    const HWND edit = CreateWindowExW(0, L"Edit", L"out of sight", WS_CHILD, 0, 0, 10, 10,
                                      static_cast<HWND>(LongToHandle(handle)), nullptr, nullptr, nullptr);
    ASSERT_TRUE(edit);
    EXPECT_EQ(TextOf(window.p, &IProcessWindow::get_Text), TextOf(window.p, &IProcessWindow::get_Title));
    DestroyWindow(edit);
}

TEST_F(TheWindows, StayOfTheMomentTheyWereAskedFor) {
    const auto windows = WindowsOf(process);
    const auto window = WindowOf(process);
    long handle = 0;
    window->get_Handle(&handle);
    ShowWindow(static_cast<HWND>(LongToHandle(handle)), SW_HIDE);
    long count = 0;
    EXPECT_EQ(windows->get_Count(&count), S_OK);
    EXPECT_EQ(count, 3);
    VARIANT_BOOL visible = VARIANT_TRUE;
    EXPECT_EQ(window->get_Visible(&visible), S_OK);
    EXPECT_EQ(visible, VARIANT_FALSE);
    EXPECT_EQ(WindowsOf(process)->get_Count(&count), S_OK);
    EXPECT_EQ(count, 2);
}
