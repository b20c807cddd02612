// The script author's guide: every script in it is run as it stands there, save scripts against a real Notepad with
// unsaved text and the title that a Notepad gives it, restore scripts with a saved copy. What a script's comments say
// that it logs is what it logs. Proves docs/script-author.md.

#include "RealApp.h"
#include "RealRun.h"
#include "SourceFile.h"

#include "Quorline.h"

#include <sstream>

namespace {
using testing::ElementsAre;
using testing::StartsWith;

struct CGuideScript {
    std::wstring language;
    std::wstring kind; ///< "save" or "restore"
    std::wstring text;
    int line = 0; ///< in the guide
};

/// Scripts stand between fences whose first word is the language and whose second says what kind of script it is.
std::vector<CGuideScript> ScriptsOf(const std::wstring& guide) {
    std::vector<CGuideScript> scripts;
    std::wistringstream lines(guide);
    std::wstring line;
    bool inside = false;
    for (int number = 1; std::getline(lines, line); ++number) {
        if (!line.starts_with(L"```")) {
            if (inside)
                scripts.back().text += line + L"\n";
            continue;
        }
        inside = !inside && (line.starts_with(L"```vbs") || line.starts_with(L"```js"));
        if (inside)
            scripts.push_back({line.starts_with(L"```vbs") ? L"VBScript" : L"JScript",
                               line.substr(std::min(line.size(), line.find(L' ') + 1)), L"", number});
    }
    return scripts;
}

/// The lines that the script's comments announce.
CTexts Announced(const std::wstring& script) {
    const std::wstring mark = L" logs: ";
    CTexts announced;
    std::wistringstream lines(script);
    for (std::wstring line; std::getline(lines, line);)
        if (const std::size_t place = line.find(mark); place != std::wstring::npos)
            announced.push_back(L"INFO " + line.substr(place + mark.size()));
    return announced;
}

class TheGuide : public CRealRun {
protected:
    std::vector<CGuideScript> Scripts(const std::wstring& kind) const {
        std::vector<CGuideScript> found;
        for (const CGuideScript& script : all)
            if (script.kind == kind)
                found.push_back(script);
        return found;
    }

    const std::wstring guide = ReadSource("docs/script-author.md");
    const std::vector<CGuideScript> all = ScriptsOf(guide);
};
} // namespace

TEST_F(TheGuide, HasNoScriptThatIsNotRun) {
    EXPECT_GE(all.size(), 20u);
    for (const CGuideScript& script : all)
        EXPECT_TRUE(script.kind == L"save" || script.kind == L"restore") << script.line;
    for (const wchar_t* language : Languages)
        EXPECT_EQ(std::ranges::count(all, language, &CGuideScript::language), static_cast<long>(all.size() / 2));
}

TEST_F(TheGuide, HasSaveScriptsThatDoWhatTheySay) {
    const CRealWindow notepad = StartApp(L"notepad.exe", L"Notepad");
    notepad.Type(L"Dear Ana");
    notepad.SetTitle(L"*Untitled - Notepad");
    for (const CGuideScript& script : Scripts(L"save")) {
        m_log.Clear();
        CDocumentScript app = MakeApp(script.language, script.text, L"notepad.exe");
        EXPECT_EQ(Save(app), L"") << "the script at line " << script.line;
        const CTexts announced = Announced(script.text);
        if (!announced.empty()) {
            CTexts said = Said();
            std::erase_if(said, [](const std::wstring& line) { return line.starts_with(L"DEBUG "); });
            EXPECT_EQ(said, announced) << "the script at line " << script.line;
        }
        const bool reserves = script.text.find(L"GetNew(") != std::wstring::npos;
        EXPECT_EQ(Stored().empty(), !reserves) << "the script at line " << script.line;
        for (const auto& file : Stored())
            EXPECT_GT(std::filesystem::file_size(file), 8u) << file;
        ClearStores();
    }
}

TEST_F(TheGuide, LeavesTheFrontPageAScriptThatSavesAWindowsText) {
    const std::vector<CGuideScript> scripts = ScriptsOf(ReadSource("README.md"));
    ASSERT_EQ(scripts.size(), 1u);
    const CRealWindow notepad = StartApp(L"notepad.exe", L"Notepad");
    notepad.Type(L"Dear Ana");
    CDocumentScript app = MakeApp(scripts.front().language, scripts.front().text, L"notepad.exe");
    EXPECT_EQ(Save(app), L"");
    EXPECT_THAT(StoredNames(), ElementsAre(L"Report.txt"));
    EXPECT_EQ(ReadCopy(Stored().at(0)), L"Dear Ana");
}

TEST_F(TheGuide, HasSaveScriptsThatLetAnEndedApplicationPass) {
    CAppCopy copy(TestFolder() + L"\\QlEnding.exe");
    for (const CGuideScript& script : Scripts(L"save")) {
        if (script.text.find(L"Item(0)") != std::wstring::npos)
            continue; // shows GetNew alone, for a window that is there
        auto running = std::make_unique<CRunningApp>(std::vector<CAppWindow>{}, CRunningAppOptions{copy.Path()});
        m_signer.onVerify = [&] { running.reset(); };
        CDocumentScript app = MakeApp(script.language, script.text, L"QlEnding.exe");
        EXPECT_EQ(Save(app), L"") << "the script at line " << script.line;
        ClearStores();
    }
}

TEST_F(TheGuide, HasRestoreScriptsThatRun) {
    std::wstring temporary(MAX_PATH, L'\0');
    temporary.resize(GetTempPathW(MAX_PATH, temporary.data()));
    for (const CGuideScript& script : Scripts(L"restore")) {
        const std::filesystem::path copy = m_documents.Path() / L"a store" / L"R&D (100%).txt";
        std::filesystem::create_directories(copy.parent_path());
        std::ofstream(copy) << "Dear Ana";
        if (script.text.find(L"notepad.exe") != std::wstring::npos) {
            const CNewProcesses started;
            EXPECT_EQ(Restore(script.language, script.text, copy.wstring()), L"") << script.line;
            EXPECT_EQ(CRealWindow(started.Find(L"notepad.exe"), L"Notepad").Text(), L"Dear Ana") << script.line;
        } else {
            const std::filesystem::path list = temporary + L"restored.txt";
            std::filesystem::remove(list);
            EXPECT_EQ(Restore(script.language, script.text, copy.wstring()), L"") << script.line;
            EXPECT_EQ(ReadCopy(list),
                      L"R&D of App\r\nfrom C:\\work\\R&D.txt in " + copy.wstring() + L"\r\nsave, restore, 1\r\n");
            std::filesystem::remove(list);
        }
    }
}

TEST_F(TheGuide, ShowsTheSamplesAsTheyAre) {
    for (const auto& [language, extension] : {std::pair{L"VBScript", ".vbs"}, std::pair{L"JScript", ".js"}}) {
        for (const auto& [kind, name] :
             {std::pair{L"save", "notepad-save"}, std::pair{L"restore", "notepad-restore"}}) {
            const auto shown = std::ranges::find_if(all, [&language = language, &kind = kind](const auto& script) {
                return script.language == language && script.kind == kind;
            });
            ASSERT_NE(shown, all.end());
            EXPECT_EQ(shown->text, ReadSource("samples/" + std::string(name) + extension));
        }
        // Twice: in the whole script, and where names are explained.
        const bool visualBasic = std::wstring_view(language) == L"VBScript";
        const std::wstring function =
            visualBasic ? PartOf(ReadSource("samples/notepad-save.vbs"), L"Function SafeName(", L"End Function\n")
                        : PartOf(ReadSource("samples/notepad-save.js"), L"function safeName(", L"\n}\n");
        const std::size_t first = guide.find(function);
        ASSERT_NE(first, std::wstring::npos);
        EXPECT_NE(guide.find(function, first + 1), std::wstring::npos);
    }
}

TEST_F(TheGuide, NamesEveryMemberOfTheObjects) {
    CComPtr<ITypeLib> libraries[2];
    ASSERT_EQ(LoadTypeLibEx((TestFolder() + L"\\QuorlineHost.dll").c_str(), REGKIND_NONE, &libraries[0]), S_OK);
    ASSERT_EQ(LoadTypeLibEx((TestFolder() + L"\\Quorline.dll").c_str(), REGKIND_NONE, &libraries[1]), S_OK);
    int members = 0;
    for (const auto& library : libraries) {
        for (UINT index = 0; index < library->GetTypeInfoCount(); ++index) {
            CComPtr<ITypeInfo> info;
            ASSERT_EQ(library->GetTypeInfo(index, &info), S_OK);
            TYPEATTR* attributes = nullptr;
            ASSERT_EQ(info->GetTypeAttr(&attributes), S_OK);
            const bool isScriptState = IsEqualGUID(attributes->guid, IID_IScriptState); // no script is given one
            const UINT count = attributes->typekind == TKIND_DISPATCH && !isScriptState ? attributes->cFuncs : 0;
            info->ReleaseTypeAttr(attributes);
            for (UINT function = 0; function < count; ++function) {
                FUNCDESC* description = nullptr;
                ASSERT_EQ(info->GetFuncDesc(function, &description), S_OK);
                CComBSTR name;
                info->GetDocumentation(description->memid, &name, nullptr, nullptr, nullptr);
                const bool own = description->memid >= 0 && description->memid < 0x10000; // not IDispatch's
                info->ReleaseFuncDesc(description);
                if (!own)
                    continue;
                ++members;
                const std::wstring member = name.m_str;
                EXPECT_TRUE(guide.find(L"." + member) != std::wstring::npos ||
                            guide.find(L"`" + member + L"`") != std::wstring::npos)
                    << member;
            }
        }
    }
    EXPECT_GT(members, 25);
}

TEST_F(TheGuide, IsRightThatThereIsNoWScript) {
    const CAppCopy copy(TestFolder() + L"\\QlGuide.exe");
    const CRunningApp running({}, {copy.Path()});
    for (const wchar_t* language : Languages) {
        CDocumentScript app = MakeApp(language, L"WScript.Echo(\"hello\")\n", L"QlGuide.exe");
        EXPECT_THAT(Save(app), StartsWith(L"line 1: ")) << language;
    }
}

TEST_F(TheGuide, IsRightThatSaveTimeIsAnError) {
    for (const wchar_t* language : Languages)
        EXPECT_THAT(Restore(language, L"x = TalvinorRestoreScriptArgs.RestoreDocuments.Item(0).SaveTime", L"C:\\x"),
                    StartsWith(L"line 1: "));
}

TEST_F(TheGuide, IsRightThatAVetoStopsTheChangeAndNotTheScripts) {
    const CAppCopy copy(TestFolder() + L"\\QlGuide.exe");
    const CRunningApp one({}, {copy.Path()});
    const CRunningApp other({}, {copy.Path()});
    CDocumentScript app =
        MakeApp(L"JScript", L"TalvinorDocumentStore.VetoTransition(); TalvinorDocumentStore.LogMessage(2, 'ran');",
                L"QlGuide.exe");
    const CSaved saved = RunSave(app);
    EXPECT_TRUE(saved.vetoed);
    EXPECT_EQ(saved.error, L"");
    EXPECT_THAT(Said(), ElementsAre(L"INFO ran", L"INFO ran"));
}
