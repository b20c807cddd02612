// Proves that what was verified runs, with its items, and that everything is given back: ScriptRunner.

#include "RunnerFixture.h"

#include "TestEngine.h"
#include "base/Exceptions.h"

#include <comdef.h>

#include <optional>
#include <stdexcept>

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr CLSID vbScript = {0xB54F3741, 0x5B07, 0x11CF, {0xA4, 0xB0, 0x00, 0xAA, 0x00, 0x4A, 0x55, 0xE8}};

class ScriptRunnerTest : public RunnerFixture {
protected:
    template <class Action> void ExpectSanityError(const wchar_t* message, const wchar_t* function, Action action) {
        m_log.Take();
        try {
            action();
            ADD_FAILURE() << "nothing thrown";
        } catch (const CMorvaneException& error) {
            EXPECT_STREQ(error.what(), "CMorvaneException");
        }
        const auto lines = m_log.Take();
        ASSERT_FALSE(lines.empty());
        EXPECT_THAT(lines.back(), HasSubstr(std::wstring(L"ERROR TalvinorGlobal: Failed sanity test \"") + message +
                                            L"\"; tested at ScriptExecution/ScriptRunner.cpp; line "));
        EXPECT_TRUE(lines.back().ends_with(std::wstring(L"; CScriptRunner::") + function)) << lines.back().c_str();
    }
};

TEST_F(ScriptRunnerTest, ANewRunnerHasNoErrorAndNoItems) {
    EXPECT_FALSE(m_runner.HasError());
    EXPECT_EQ(Error(), CErrorRecord());
    EXPECT_EQ(m_runner.GetNamedItem(L"Session"), nullptr);
}

TEST_F(ScriptRunnerTest, WrongUseIsASanityError) {
    ExpectSanityError(L"Empty tstrName argument", L"AddNamedItem", [&] { m_runner.AddNamedItem(L"", m_probe); });
    ExpectSanityError(L"Empty tstrName argument", L"AddNamedItem", [&] { m_runner.AddNamedItem(L"", nullptr); });
    ExpectSanityError(L"Null pUnk passed to AddNamedItem", L"AddNamedItem",
                      [&] { m_runner.AddNamedItem(L"Session", nullptr); });
    ExpectSanityError(L"Null pScript argument passed to RunScript", L"RunScript", [&] { m_runner.RunScript(nullptr); });
    EXPECT_EQ(m_probe->References(), 1U);
    EXPECT_FALSE(m_runner.HasError());
}

TEST_F(ScriptRunnerTest, AnItemHoldsOneReferenceUntilItIsCleared) {
    m_runner.AddNamedItem(L"Session", m_probe);
    m_runner.AddNamedItem(L"session", m_probe);
    EXPECT_EQ(m_probe->References(), 3U);
    EXPECT_EQ(m_runner.GetNamedItem(L"Session"), m_probe.p);
    EXPECT_EQ(m_runner.GetNamedItem(L"SESSION"), nullptr);
    EXPECT_EQ(m_probe->References(), 3U);
    m_runner.ClearNamedItems();
    EXPECT_EQ(m_probe->References(), 1U);
    EXPECT_EQ(m_runner.GetNamedItem(L"Session"), nullptr);
}

TEST_F(ScriptRunnerTest, TheDestructorReleasesTheItems) {
    {
        CScriptRunner runner;
        runner.AddNamedItem(L"Session", m_probe);
        EXPECT_EQ(m_probe->References(), 2U);
    }
    EXPECT_EQ(m_probe->References(), 1U);
}

TEST_F(ScriptRunnerTest, TheFirstObjectUnderANameStaysAndTheSecondKeepsItsReference) {
    const auto second = MakeProbe();
    m_runner.AddNamedItem(L"Session", m_probe);
    m_runner.AddNamedItem(L"Session", second);
    EXPECT_EQ(m_runner.GetNamedItem(L"Session"), m_probe.p);
    EXPECT_EQ(second->References(), 2U);
    m_runner.ClearNamedItems();
    EXPECT_EQ(m_probe->References(), 1U);
    EXPECT_EQ(second->References(), 2U);
    second->Release();
}

TEST_F(ScriptRunnerTest, AskingForAnUnknownNameLeavesAnEmptyEntry) {
    EXPECT_EQ(m_runner.GetNamedItem(L"Session"), nullptr);
    m_runner.AddNamedItem(L"Session", m_probe);
    EXPECT_EQ(m_runner.GetNamedItem(L"Session"), nullptr);
    m_probe->Release();
    CTestEngine engine(vbScript);
    Run(CScript::LangVBScript, L"x");
    EXPECT_THAT(engine.calls, testing::Contains(L"AddNamedItem Session 66"));
}

TEST_F(ScriptRunnerTest, TheErrorRecordIsStickyAndClearingItOnlyHidesIt) {
    std::wstring source = L"engine", description = L"wrong";
    unsigned long line = 4'000'000'000UL;
    long character = -3;
    m_runner.SetErrorInfo(source, description, line, character);
    EXPECT_TRUE(m_runner.HasError());
    CTestEngine engine(vbScript);
    Run(CScript::LangVBScript, L"x");
    EXPECT_EQ(Error(), (CErrorRecord{L"engine", L"wrong", 4'000'000'000UL, -3}));
    m_runner.ClearError();
    EXPECT_FALSE(m_runner.HasError());
    EXPECT_EQ(Error(), CErrorRecord());
}

TEST_F(ScriptRunnerTest, AnUnsignedScriptNeverReachesAnEngine) {
    CTestEngine engine(vbScript);
    m_signer.verified = VARIANT_FALSE;
    Run(CScript::LangVBScript, L"x");
    EXPECT_EQ(engine.created, 0);
    EXPECT_EQ(Error(), (CErrorRecord{L"Script Verification", L"Could not verify script", 0, 0}));
    EXPECT_THAT(m_log.Take(), ElementsAre(L"ERROR Quorline.ScriptRunner: Script not properly signed save %s",
                                          L"ERROR Quorline.ScriptRunner: Could not verify script 'save %s'"));
    EXPECT_EQ(m_signer.objects, 0);
    Run(CScript::LangNone, L"x"); // nor is its language looked at
    EXPECT_EQ(m_signer.calls.back().extension, L".js");
}

TEST_F(ScriptRunnerTest, AFailedVerificationKeepsThePositionOfAnEarlierError) {
    std::wstring source = L"engine", description = L"wrong";
    unsigned long line = 5;
    long character = 6;
    m_runner.SetErrorInfo(source, description, line, character);
    m_signer.verified = VARIANT_FALSE;
    Run(CScript::LangVBScript, L"x");
    EXPECT_EQ(Error(), (CErrorRecord{L"Script Verification", L"Could not verify script", 5, 6}));
}

TEST_F(ScriptRunnerTest, WhatWasVerifiedIsWhatRunsWhateverBecomesOfTheScriptMeanwhile) {
    m_runner.AddNamedItem(L"Probe", m_probe);
    m_signer.onVerify = [this] {
        m_script.SetText(L"Probe.Note(2);");
        m_script.SetScriptLang(CScript::LangJScript);
        m_script.SetScriptName(L"other");
    };
    Run(CScript::LangVBScript, L"Probe.Note 1 ' as verified");
    EXPECT_THAT(m_probe->notes, ElementsAre(L"1"));
    EXPECT_EQ(m_signer.calls.back().text, L"Probe.Note 1 ' as verified");
    EXPECT_TRUE(m_log.Has(L"INFO Quorline.ScriptRunner: Running script 'save %s'"));
    m_signer.verified = VARIANT_FALSE;
    Run(CScript::LangVBScript, L"Probe.Note 1");
    EXPECT_TRUE(m_log.Has(L"ERROR Quorline.ScriptRunner: Script not properly signed save %s"));
}

TEST_F(ScriptRunnerTest, TheSignerIsAskedAboutExactlyWhatRuns) {
    const struct {
        CScript::ScriptLanguageEnum language;
        const wchar_t* extension;
    } cases[] = {{CScript::LangVBScript, L".vbs"},
                 {CScript::LangJScript, L".js"},
                 {CScript::LangNone, L".js"},
                 {static_cast<CScript::ScriptLanguageEnum>(7), L".js"}};
    for (const auto& [language, extension] : cases) {
        m_signer.calls.clear();
        try {
            Run(language, std::wstring(L"\xFEFF// one\0two", 11));
        } catch (const CMorvaneException&) {
        }
        ASSERT_EQ(m_signer.calls.size(), 1U);
        EXPECT_EQ(m_signer.calls[0].extension, extension);
        EXPECT_EQ(m_signer.calls[0].text, L"\xFEFF// one");
        EXPECT_FALSE(m_signer.calls[0].showUserInterface);
        EXPECT_EQ(m_signer.objects, 0);
    }
}

TEST_F(ScriptRunnerTest, AnUnsupportedLanguageIsRefusedAfterVerification) {
    for (const int language : {2, 3, -1})
        ExpectSanityError(L"Unknown or unsupported Script Type", L"GetScriptEngine",
                          [&] { Run(static_cast<CScript::ScriptLanguageEnum>(language), L"x"); });
    EXPECT_EQ(m_signer.calls.size(), 3U);
    EXPECT_FALSE(m_runner.HasError());
}

TEST_F(ScriptRunnerTest, ASignersFailureIsLoggedWithItsText) {
    const struct {
        HRESULT failure;
        std::wstring text;
    } cases[] = {{E_ACCESSDENIED, _com_error(E_ACCESSDENIED).ErrorMessage()},
                 {static_cast<HRESULT>(0x80040201), L"IDispatch error #1"},
                 {static_cast<HRESULT>(0xA0001234), L"Unknown error 0xA0001234"}};
    CTestEngine engine(vbScript);
    for (const auto& [failure, text] : cases) {
        m_runner.ClearError();
        m_signer.result = failure;
        Run(CScript::LangVBScript, L"x");
        wchar_t code[16];
        _snwprintf_s(code, 16, _TRUNCATE, L"%x", static_cast<unsigned>(failure));
        EXPECT_THAT(m_log.Take(), ElementsAre(L"ERROR Quorline.ScriptRunner: Exception verifying script. Error = (0x" +
                                                  std::wstring(code) + L") " + text,
                                              L"ERROR Quorline.ScriptRunner: Could not verify script 'save %s'"));
        EXPECT_TRUE(m_runner.HasError());
        EXPECT_EQ(m_signer.objects, 0);
    }
    EXPECT_EQ(engine.created, 0);
}

TEST_F(ScriptRunnerTest, ASignersErrorInformationIsTakenOnlyWhenItSupportsIt) {
    m_signer.result = E_FAIL;
    m_signer.errorDescription = L"no certificate";
    for (const bool supports : {true, false}) {
        SetErrorInfo(0, nullptr);
        m_signer.supportsErrorInfo = supports;
        Run(CScript::LangVBScript, L"x");
        CComPtr<IErrorInfo> left;
        EXPECT_EQ(GetErrorInfo(0, &left), supports ? S_FALSE : S_OK);
        EXPECT_EQ(m_signer.objects, 0);
    }
}

TEST_F(ScriptRunnerTest, AnExceptionThatIsNoComErrorPassesAndTheSignerIsReleased) {
    m_signer.onVerify = [] { throw std::runtime_error("passes"); };
    EXPECT_THROW(Run(CScript::LangVBScript, L"x"), std::runtime_error);
    EXPECT_EQ(m_signer.objects, 0);
    m_signer.onVerify = [] { throw _com_error(E_POINTER); };
    EXPECT_NO_THROW(Run(CScript::LangVBScript, L"x"));
    EXPECT_TRUE(m_runner.HasError());
    EXPECT_EQ(m_signer.objects, 0);
}

TEST(ScriptRunnerWithoutSignerTest, EveryScriptFailsVerification) {
    const CComApartment apartment;
    CLogLines log;
    CScriptRunner runner;
    CScript script;
    script.SetScriptName(L"save");
    runner.RunScript(&script);
    EXPECT_TRUE(runner.HasError());
    EXPECT_THAT(log.Take(),
                ElementsAre(L"ERROR Quorline.ScriptRunner: Could not create script signer object. Error = (0x80040154)",
                            L"ERROR Quorline.ScriptRunner: Could not verify script 'save'"));
}

TEST_F(ScriptRunnerTest, AnEngineIsDrivenAndReleasedInThisOrder) {
    CTestEngine engine(vbScript);
    for (const wchar_t* name : {L"b", L"B", L"a"})
        m_runner.AddNamedItem(name, m_probe);
    for (int run = 0; run < 2; ++run) {
        engine.calls.clear();
        Run(CScript::LangVBScript, L"text");
        // The site's references: the runner's, the engine's and, until its turn comes, the run's; the parser's too.
        EXPECT_THAT(engine.calls, ElementsAre(L"SetScriptSite", L"InitNew", L"AddNamedItem B 66", L"AddNamedItem a 66",
                                              L"AddNamedItem b 66", L"ParseScriptText text 1 66", L"SetScriptState 2",
                                              L"Close", L"parser released, site 4", L"engine released, site 2"));
        EXPECT_THAT(m_log.Take(), ElementsAre(L"INFO Quorline.ScriptRunner: Running script 'save %s'"));
    }
    EXPECT_FALSE(m_runner.HasError());
}

TEST_F(ScriptRunnerTest, ALeadingByteOrderMarkReachesTheEngine) {
    CTestEngine engine(vbScript);
    Run(CScript::LangVBScript, L"\xFEFFx");
    EXPECT_THAT(engine.calls, testing::Contains(L"ParseScriptText \xFEFFx 1 66"));
}

TEST_F(ScriptRunnerTest, AnEngineThatDoesNotStartRaisesItsHResultAndLeavesTheRunnerUsable) {
    CTestEngine engine(vbScript);
    m_runner.AddNamedItem(L"a", m_probe);
    const struct {
        const wchar_t* call;
        const wchar_t* message;
    } cases[] = {{L"CreateInstance", L"Failed to create IActiveScript instance"},
                 {L"SetScriptSite", L"Failed to set script site for IActiveScript object"},
                 {L"InitNew", L"IActiveScriptParse->InitNew failed"},
                 {L"AddNamedItem", L"IActiveScript->AddNamedItem"}};
    for (const auto& [call, message] : cases) {
        engine.failing = call;
        engine.calls.clear();
        m_log.Take();
        try {
            Run(CScript::LangVBScript, L"x");
            ADD_FAILURE() << "nothing thrown";
        } catch (const COSException& error) {
            EXPECT_EQ(error.GetErrorCode(), 0x80070005UL);
        }
        const auto lines = m_log.Take();
        ASSERT_EQ(lines.size(), 2U);
        EXPECT_THAT(lines[1], HasSubstr(std::wstring(L"ERROR TalvinorGlobal: Failure HRESULT=0x80070005; \"") +
                                        message + L"\"; at ScriptExecution/ScriptRunner.cpp; line "));
        EXPECT_TRUE(lines[1].ends_with(L"; CScriptRunner::RunScript"));
        EXPECT_EQ(engine.calls.empty() ? L"" : engine.calls.back(),
                  call == cases[0].call ? L"" : L"engine released, site 2");
        EXPECT_FALSE(m_runner.HasError());
    }
    engine.failing.clear();
    EXPECT_NO_THROW(Run(CScript::LangVBScript, L"x"));
}

HRESULT STDMETHODCALLTYPE RefuseInterface(IUnknown*, REFIID, void** object) {
    *object = nullptr;
    return E_NOINTERFACE;
}

/// Has an object of this process refuse every interface for a scope.
class CRefusal {
public:
    explicit CRefusal(IUnknown* object) : m_slot(*reinterpret_cast<void***>(object)), m_original(*m_slot) {
        Set(reinterpret_cast<void*>(&RefuseInterface));
    }
    ~CRefusal() { Set(m_original); }
    CRefusal(const CRefusal&) = delete;
    CRefusal& operator=(const CRefusal&) = delete;

private:
    void Set(void* function) {
        DWORD protection = 0;
        VirtualProtect(m_slot, sizeof function, PAGE_READWRITE, &protection);
        *m_slot = function;
        VirtualProtect(m_slot, sizeof function, protection, &protection);
    }

    void** m_slot; // of QueryInterface
    void* m_original;
};

TEST_F(ScriptRunnerTest, ASiteThatIsNoScriptSiteRaisesItsHResultAndTheEngineIsReleased) {
    CTestEngine engine(vbScript);
    Run(CScript::LangVBScript, L"x");
    ASSERT_NE(engine.site, nullptr);
    engine.calls.clear();
    m_log.Take();
    {
        const CRefusal refusal(engine.site);
        EXPECT_THROW(Run(CScript::LangVBScript, L"x"), COSException);
    }
    const auto lines = m_log.Take();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_THAT(lines[1], HasSubstr(L"ERROR TalvinorGlobal: Failure HRESULT=0x80004002; \"Failed to query "
                                    L"IActiveScriptSite interface\"; at ScriptExecution/ScriptRunner.cpp; line "));
    EXPECT_EQ(engine.calls, std::vector<std::wstring>{L"engine released, site 0"});
    EXPECT_FALSE(m_runner.HasError());
    EXPECT_NO_THROW(Run(CScript::LangVBScript, L"x"));
}

TEST_F(ScriptRunnerTest, AFailedRunOrCloseIsLoggedAndTheEngineReleased) {
    CTestEngine engine(vbScript);
    engine.failure = static_cast<HRESULT>(0x80020101);
    const std::wstring running = L"INFO Quorline.ScriptRunner: Running script 'save %s'";
    const std::wstring failed = L"ERROR Quorline.ScriptRunner: Script execution failed. Error = (0x80020101) No Error "
                                L"Text Available";
    const struct {
        const wchar_t* call;
        std::vector<std::wstring> lines;
    } cases[] = {{L"ParseScriptText", {running, L"ERROR Quorline.ScriptRunner: Script parsing failed.", failed}},
                 {L"SetScriptState", {running, failed}},
                 {L"Close", {running, L"WARN Quorline.ScriptRunner: Could not close script object."}}};
    for (const auto& [call, lines] : cases) {
        engine.failing = call;
        engine.calls.clear();
        Run(CScript::LangVBScript, L"x");
        EXPECT_EQ(m_log.Take(), lines);
        EXPECT_FALSE(m_runner.HasError());
        EXPECT_THAT(engine.calls, testing::Contains(L"Close"));
        EXPECT_EQ(engine.calls.back(), L"engine released, site 2");
        EXPECT_EQ(std::wstring(call) == L"ParseScriptText",
                  std::find(engine.calls.begin(), engine.calls.end(), L"SetScriptState 2") == engine.calls.end());
    }
}

std::vector<std::wstring>* g_debugOutput;
LONG CALLBACK RecordDebugOutput(EXCEPTION_POINTERS* exception) {
    constexpr DWORD narrowOutput = 0x40010006;
    constexpr DWORD wideOutput = 0x4001000A; // not raised by every version of the system
    const auto& record = *exception->ExceptionRecord;
    if (record.ExceptionCode != narrowOutput && record.ExceptionCode != wideOutput)
        return EXCEPTION_CONTINUE_SEARCH;
    const ULONG_PTR length = record.ExceptionInformation[0] - 1;
    if (record.ExceptionCode == wideOutput) {
        g_debugOutput->emplace_back(reinterpret_cast<const wchar_t*>(record.ExceptionInformation[1]), length);
    } else {
        const auto* narrow = reinterpret_cast<const char*>(record.ExceptionInformation[1]);
        g_debugOutput->emplace_back(narrow, narrow + length);
    }
    return EXCEPTION_CONTINUE_EXECUTION;
}

TEST_F(ScriptRunnerTest, TheWholeTextIsShownToADebuggerBeforeItRuns) {
    std::vector<std::wstring> output;
    g_debugOutput = &output;
    const std::wstring text(30'000, L'x'); // what a system may cut begins at 32,766 characters
    CTestEngine engine(vbScript);
    void* const handler = AddVectoredExceptionHandler(1, &RecordDebugOutput);
    Run(CScript::LangVBScript, text);
    RemoveVectoredExceptionHandler(handler);
    ASSERT_EQ(output.size(), 1U);
    EXPECT_TRUE(output[0] == text) << output[0].size();
    ASSERT_GE(engine.calls.size(), 3U);
    EXPECT_TRUE(engine.calls[2] == L"ParseScriptText " + text + L" 1 66");
}

} // namespace
