// The sample scripts as they stand in samples/, run against the system's own Notepad and WordPad: what was typed is
// saved whatever the title is, and opened again. Proves the samples.

#include "RealApp.h"
#include "RealRun.h"
#include "SourceFile.h"

namespace {
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

struct CApplication {
    const char* name;
    const wchar_t* program;
    const wchar_t* executable;
    const wchar_t* windowClass;
    const wchar_t* ending;   ///< of its titles
    const wchar_t* restored; ///< the executable of the process that the restore script starts
};

void PrintTo(const CApplication& app, std::ostream* out) {
    *out << app.name;
}

constexpr CApplication Notepad{"notepad", L"notepad.exe", L"notepad.exe", L"Notepad", L" - Notepad", L"notepad.exe"};
constexpr CApplication WordPad{"wordpad",          L"C:\\Program Files\\Windows NT\\Accessories\\wordpad.exe",
                               L"wordpad.exe",     L"WORDPADTOP",
                               L" - Wine Wordpad", L"write.exe"}; // Windows' own starts wordpad.exe

struct CLanguage {
    const wchar_t* name;
    const char* extension;
};
constexpr CLanguage Both[] = {{L"VBScript", ".vbs"}, {L"JScript", ".js"}};

constexpr wchar_t Typed[] = L"Dear Ana,\r\nthe lamp & the key: \u00FC\u4E2D 100% {0:%s}";

std::wstring Sample(const CApplication& app, const char* kind, const CLanguage& language) {
    return ReadSource("samples/" + std::string(app.name) + kind + language.extension);
}

/// Lines end as the control likes it.
std::wstring Lines(std::wstring text) {
    std::erase(text, L'\n');
    while (text.ends_with(L'\r'))
        text.pop_back();
    return text;
}

class TheSamples : public CRealRun, public testing::WithParamInterface<CApplication> {
protected:
    void PutCopy(const std::filesystem::path& path, const std::wstring& text) {
        std::filesystem::create_directories(path.parent_path());
        const std::wstring marked = L'\uFEFF' + text;
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(marked.data()),
                   static_cast<std::streamsize>(marked.size() * sizeof(wchar_t)));
    }
};
} // namespace

TEST_P(TheSamples, SaveWhatWasTypedWhateverTheTitleIs) {
    const CApplication& app = GetParam();
    const CRealWindow window = StartApp(app.program, app.windowClass);
    window.Type(Typed);
    const struct {
        std::wstring title;
        std::wstring file;
    } cases[] = {
        {L"*Untitled" + std::wstring(app.ending), L"Untitled.txt"},
        {L"Letter.txt" + std::wstring(app.ending), L"Letter.txt"},
        {L"*..\\a?b|c<d>e\"f/g:h*i\r\n%TEMP%" + std::wstring(app.ending), L".._a_b_c_d_e_f_g_h_i___TEMP_.txt"},
        {L"NUL" + std::wstring(app.ending), L"_NUL.txt"},
        {std::wstring(300, L'y') + L".vbs", std::wstring(60, L'y') + L".txt"},
        {L"", L"Untitled.txt"},
    };
    for (const CLanguage& language : Both) {
        CDocumentScript script = MakeApp(language.name, Sample(app, "-save", language), app.executable);
        for (const auto& test : cases) {
            window.SetTitle(test.title);
            m_log.Clear();
            EXPECT_EQ(Save(script), L"") << test.title;
            EXPECT_THAT(StoredNames(), ElementsAre(test.file));
            EXPECT_EQ(Lines(ReadCopy(Stored().at(0))), Lines(Typed)) << test.title;
            EXPECT_THAT(Said(), ElementsAre(testing::EndsWith(L", process " + std::to_wstring(window.ProcessId()))));
            ClearStores();
        }
    }
}

TEST_P(TheSamples, SaveEachOfTwoProcesses) {
    const CApplication& app = GetParam();
    const CRealWindow one = StartApp(app.program, app.windowClass);
    const CRealWindow other = StartApp(app.program, app.windowClass);
    one.Type(L"first");
    other.Type(L"second");
    for (const CLanguage& language : Both) {
        CDocumentScript script = MakeApp(language.name, Sample(app, "-save", language), app.executable);
        EXPECT_EQ(Save(script), L"");
        std::set<std::wstring> texts;
        for (const auto& file : Stored())
            texts.insert(Lines(ReadCopy(file)));
        EXPECT_THAT(texts, ElementsAre(L"first", L"second"));
        ClearStores();
    }
}

// Notepad alone: WordPad, started by a script here, does not show the window that would tell.
class TheSamplesThatShow : public TheSamples {};

TEST_P(TheSamplesThatShow, OpenTheCopyAgain) {
    const CApplication& app = GetParam();
    for (const CLanguage& language : Both) {
        for (const wchar_t* name : {L"Letter.txt", L"R&D (100%) 'a' ^b, c;d = e+f.txt"}) {
            const std::filesystem::path copy = m_documents.Path() / L"a store" / name;
            PutCopy(copy, Typed);
            const CNewProcesses started;
            EXPECT_EQ(Restore(language.name, Sample(app, "-restore", language), copy.wstring()), L"") << name;
            const CRealWindow window(started.Find(app.restored), app.windowClass);
            EXPECT_EQ(Lines(window.Text()), Lines(Typed)) << name;
        }
    }
}

TEST_P(TheSamples, HandNoPathToAProgramThatWouldArriveAsAnother) {
    for (const CLanguage& language : Both) {
        for (const wchar_t* path : {L"C:\\store\\%TEMP%.txt", L"C:\\store\\a\" /p \"C:\\secret.txt", L"%COMSPEC%"})
            EXPECT_THAT(Restore(language.name, Sample(GetParam(), "-restore", language), path),
                        HasSubstr(L"This path cannot be handed to a program: " + std::wstring(path)));
    }
}

INSTANTIATE_TEST_SUITE_P(OfTheSystem, TheSamples, testing::Values(Notepad, WordPad),
                         [](const auto& test) { return std::string(test.param.name); });
INSTANTIATE_TEST_SUITE_P(OfTheSystem, TheSamplesThatShow, testing::Values(Notepad),
                         [](const auto& test) { return std::string(test.param.name); });

// There is no Word and no Excel to run them against.
class TheOfficeSamples : public CRealRun {};

TEST_F(TheOfficeSamples, FailWithAnErrorWhereTheProgramIsMissing) {
    const CAppCopy copy(TestFolder() + L"\\QlOffice.exe");
    const CRunningApp running({{true, L"QlOffice", L"Letter"}}, {copy.Path()});
    for (const char* name : {"word", "excel"}) {
        CDocumentScript app =
            MakeApp(L"VBScript", ReadSource("samples/" + std::string(name) + "-save.vbs"), L"QlOffice.exe");
        EXPECT_THAT(Save(app), StartsWith(L"line ")) << name << " must veto what it cannot save";
        EXPECT_THAT(Restore(L"VBScript", ReadSource("samples/" + std::string(name) + "-restore.vbs"), L"C:\\x.docx"),
                    StartsWith(L"line "))
            << name;
    }
    EXPECT_THAT(Stored(), IsEmpty());
}

TEST_F(TheOfficeSamples, LetAnEndedApplicationPass) {
    const CAppCopy copy(TestFolder() + L"\\QlOffice.exe");
    for (const char* name : {"word", "excel"}) {
        auto running = std::make_unique<CRunningApp>(std::vector<CAppWindow>{}, CRunningAppOptions{copy.Path()});
        m_signer.onVerify = [&] { running.reset(); };
        CDocumentScript app =
            MakeApp(L"VBScript", ReadSource("samples/" + std::string(name) + "-save.vbs"), L"QlOffice.exe");
        EXPECT_EQ(Save(app), L"") << name;
    }
}
