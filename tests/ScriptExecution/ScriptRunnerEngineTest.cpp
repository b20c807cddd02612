// The runner with the system's own engines. Proves ScriptRunner and TalvinorClientScriptSite.

#include "BareEngine.h"
#include "ProcessUse.h"
#include "RunnerFixture.h"

#include <windows.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class ScriptEngineTest : public RunnerFixture, public testing::WithParamInterface<CScript::ScriptLanguageEnum> {
protected:
    ScriptEngineTest() { m_runner.AddNamedItem(L"Probe", m_probe); }

    bool IsVB() const { return GetParam() == CScript::LangVBScript; }
    void Run(const wchar_t* vb, const wchar_t* js) { RunnerFixture::Run(GetParam(), IsVB() ? vb : js); }
    std::wstring Scripting(const CErrorRecord& error) const {
        return L"ERROR ScriptExecution.TalvinorClientScriptSite: Scripting error: Source = " + error.source +
               L", Description = " + error.description + L", Line = " + std::to_wstring(error.line) + L", Char = " +
               std::to_wstring(error.character);
    }

    const std::wstring m_running = L"INFO Quorline.ScriptRunner: Running script 'save %s'";
};

TEST_P(ScriptEngineTest, GlobalCodeRunsOnceAndReachesTheNamedItems) {
    Run(L"Probe.Note 6 * 7", L"Probe.Note(6 * 7);");
    EXPECT_THAT(m_probe->notes, ElementsAre(L"42"));
    EXPECT_FALSE(m_runner.HasError());
    EXPECT_THAT(m_log.Take(), ElementsAre(m_running));
    EXPECT_EQ(m_probe->References(), 2U);
}

TEST_P(ScriptEngineTest, NothingOfOneScriptReachesTheNext) {
    Run(L"kept = 1", L"kept = 1;");
    Run(L"Probe.Note IsEmpty(kept)", L"Probe.Note(typeof kept);");
    EXPECT_FALSE(m_runner.HasError());
    ASSERT_EQ(m_probe->notes.size(), 1U);
    EXPECT_NE(m_probe->notes[0], IsVB() ? L"False" : L"number");
    EXPECT_NE(m_probe->notes[0], L"0");
}

TEST_P(ScriptEngineTest, ASyntaxErrorIsReportedWithItsPlaceAndNothingRuns) {
    Run(L"Probe.Note 1\r\nIf Then", L"Probe.Note(1);\nvar = 1;");
    EXPECT_TRUE(m_runner.HasError());
    EXPECT_THAT(m_probe->notes, IsEmpty());
    const auto error = Error();
    EXPECT_EQ(error.line, 2U);
    EXPECT_EQ(error.character, IsVB() ? 3 : 4);
    const auto lines = m_log.Take();
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0], m_running);
    EXPECT_EQ(lines[1], Scripting(error));
    EXPECT_EQ(lines[2], L"ERROR Quorline.ScriptRunner: Script parsing failed.");
    EXPECT_EQ(lines[3], L"ERROR Quorline.ScriptRunner: Script execution failed. Error = (0x80020101) No Error Text "
                        L"Available");
}

TEST_P(ScriptEngineTest, ARunTimeErrorStopsTheScriptWithSourceAndDescription) {
    Run(L"Probe.Note 1\r\n\r\n  Probe.Fail\r\nProbe.Note 2", L"Probe.Note(1);\n\n  Probe.Fail();\nProbe.Note(2);");
    EXPECT_THAT(m_probe->notes, ElementsAre(L"1"));
    const auto error = Error();
    EXPECT_EQ(error, (CErrorRecord{L"Probe", L"it %s failed {0:%d}", 3, 2}));
    const auto lines = m_log.Take();
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(lines[0], m_running);
    EXPECT_EQ(lines[1], Scripting(error));
    EXPECT_EQ(m_probe->References(), 2U);
}

TEST_P(ScriptEngineTest, AnErrorOutlivesTheNextGoodScript) {
    Run(L"Probe.Fail", L"Probe.Fail();");
    Run(L"Probe.Note 1", L"Probe.Note(1);");
    EXPECT_THAT(m_probe->notes, ElementsAre(L"1"));
    EXPECT_EQ(Error().source, L"Probe");
    m_runner.ClearError();
    Run(L"Probe.Note 2", L"Probe.Note(2);");
    EXPECT_FALSE(m_runner.HasError());
}

TEST_P(ScriptEngineTest, TextBeyond64KBRunsToItsEnd) {
    std::wstring text;
    while (text.size() < 200'000)
        text += IsVB() ? L"x = \"some text\"\r\n" : L"x = \"some text\";\r\n";
    Run((text + L"Probe.Note 1").c_str(), (text + L"Probe.Note(1);").c_str());
    EXPECT_THAT(m_probe->notes, ElementsAre(L"1"));
}

TEST_P(ScriptEngineTest, TextEndsAtANul) {
    std::wstring text = IsVB() ? L"Probe.Note 1\r\n" : L"Probe.Note(1);\n";
    RunnerFixture::Run(GetParam(), text + L'\0' + text);
    EXPECT_THAT(m_probe->notes, ElementsAre(L"1"));
    EXPECT_FALSE(m_runner.HasError());
}

TEST_P(ScriptEngineTest, OnlyJScriptRunsATextThatBeginsWithAByteOrderMark) {
    Run(L"\xFEFFProbe.Note 1", L"\xFEFFProbe.Note(1);");
    EXPECT_EQ(m_probe->notes.size(), IsVB() ? 0U : 1U);
}

TEST_P(ScriptEngineTest, AScriptRunDuringTheVerificationOfAnotherRunsBeforeIt) {
    const struct CNested {
        explicit CNested(CTestSigner& signer, std::function<void()> action) : m_signer(signer) {
            m_signer.onVerify = std::move(action);
        }
        CTestSigner& m_signer;
    } nested(m_signer, [&] {
        m_signer.onVerify = nullptr;
        CScript inner;
        inner.SetScriptLang(GetParam());
        inner.SetText(IsVB() ? L"Probe.Note \"inner\"" : L"Probe.Note('inner')");
        m_runner.RunScript(&inner);
    });
    Run(L"Probe.Note \"outer\"", L"Probe.Note('outer')");
    EXPECT_THAT(m_probe->notes, ElementsAre(L"inner", L"outer"));
}

TEST_P(ScriptEngineTest, AThousandRunsLeaveNoMoreThanTheEngineItselfDoes) {
    const CLSID engine = IsVB() ? CLSID{0xB54F3741, 0x5B07, 0x11CF, {0xA4, 0xB0, 0x00, 0xAA, 0x00, 0x4A, 0x55, 0xE8}}
                                : CLSID{0xF414C260, 0x6AC0, 0x11CF, {0xB6, 0xD1, 0x00, 0xAA, 0x00, 0xBB, 0xBB, 0x58}};
    const struct {
        const wchar_t* vb;
        const wchar_t* js;
    } texts[] = {{L"Probe.Note \"some text\"", L"Probe.Note('some text');"},
                 {L"Probe.Fail", L"Probe.Fail();"},
                 {L"If Then", L"var = 1;"}};
    for (const auto& [vb, js] : texts) {
        const auto forget = [&] {
            m_probe->notes.clear();
            m_signer.calls.clear();
            m_log.Take();
        };
        const auto growth = [&](const auto& run) {
            for (int i = 0; i < 100; ++i, forget())
                run();
            const auto handles = HandlesInUse();
            const auto heap = HeapBytesInUse();
            for (int i = 0; i < 1000; ++i, forget())
                run();
            EXPECT_LE(HandlesInUse(), handles);
            return static_cast<long long>(HeapBytesInUse()) - static_cast<long long>(heap);
        };
        const auto bare = growth([&, text = IsVB() ? vb : js] { RunBare(engine, text, m_probe); });
        const auto own = growth([this, vb = vb, js = js] { Run(vb, js); });
        EXPECT_LE(own, bare + 8'000 + static_cast<long long>(HeapGrain()))
            << "eight bytes a run, beyond the engine's own " << bare;
    }
    EXPECT_EQ(m_probe->References(), 2U);
}

TEST_P(ScriptEngineTest, AnEndlessRecursionIsTheScriptsErrorAndTheNextScriptRuns) {
    for (int count = 0; count < 3; ++count) {
        Run(L"Function f(n)\n  f = f(n + 1) + 1\nEnd Function\nx = f(0)\nProbe.Note 1",
            L"function f(n) { return f(n + 1) + 1; }\nf(0);\nProbe.Note(1);");
        EXPECT_TRUE(m_runner.HasError());
        EXPECT_EQ(Error().description, L"Out of stack space");
        EXPECT_EQ(m_probe->References(), 2U);
        EXPECT_FALSE(m_log.At(L"ERROR").empty());
        m_runner.ClearError();
        Run(L"Probe.Note 2", L"Probe.Note(2);");
        EXPECT_FALSE(m_runner.HasError());
        m_log.Clear();
    }
    EXPECT_THAT(m_probe->notes, testing::Each(L"2"));
}

INSTANTIATE_TEST_SUITE_P(Engines, ScriptEngineTest, testing::Values(CScript::LangVBScript, CScript::LangJScript),
                         [](const auto& info) { return info.param == CScript::LangVBScript ? "VBScript" : "JScript"; });

} // namespace
