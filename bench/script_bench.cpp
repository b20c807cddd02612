// Script runs a second through the runner, signature check and log included, beside the bare engine's own.
// "of_bare" is the runner's speed as a share of the bare engine's, measured in the same run.

#include "ScriptExecution/ScriptRunner.h"

#include "BareEngine.h"
#include "TestSigner.h"

#include <benchmark/benchmark.h>

#include <chrono>

namespace {

struct CLanguage {
    CScript::ScriptLanguageEnum language;
    CLSID engine;
    const wchar_t* text;
};

const CLanguage languages[] = {
    {CScript::LangVBScript,
     {0xB54F3741, 0x5B07, 0x11CF, {0xA4, 0xB0, 0x00, 0xAA, 0x00, 0x4A, 0x55, 0xE8}},
     L"x = 1\r\nFor i = 1 To 10\r\nx = x + i\r\nNext\r\n"},
    {CScript::LangJScript,
     {0xF414C260, 0x6AC0, 0x11CF, {0xB6, 0xD1, 0x00, 0xAA, 0x00, 0xBB, 0xBB, 0x58}},
     L"var x = 1;\nfor (var i = 1; i <= 10; i++)\n  x += i;\n"},
};

void RunCycles(benchmark::State& state) {
    const auto& [language, engine, text] = languages[state.range(0)];
    state.SetLabel(language == CScript::LangVBScript ? "VBScript" : "JScript");
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    {
        CTestSigner signer;
        CScriptRunner runner;
        CScript script;
        script.SetScriptLang(language);
        script.SetText(text);
        CComObjectNoLock<CBareSite>* probe = nullptr;
        CComObjectNoLock<CBareSite>::CreateInstance(&probe);
        const CComPtr<IUnknown> item(static_cast<IActiveScriptSite*>(probe));
        runner.AddNamedItem(L"Probe", item);

        // Both in turns, so that what else the machine does meets them alike.
        using CClock = std::chrono::steady_clock;
        CClock::duration bare{};
        CClock::duration own{};
        for (auto _ : state) {
            const auto start = CClock::now();
            runner.RunScript(&script);
            const auto middle = CClock::now();
            if (FAILED(RunBare(engine, text, item)) || runner.HasError())
                state.SkipWithError("a script failed");
            own += middle - start;
            bare += CClock::now() - middle;
            signer.calls.clear();
            state.SetIterationTime(std::chrono::duration<double>(middle - start).count());
        }
        state.SetItemsProcessed(state.iterations());
        state.counters["of_bare"] = std::chrono::duration<double>(bare) / std::chrono::duration<double>(own);
    }
    CoUninitialize();
}
BENCHMARK(RunCycles)->Arg(0)->Arg(1)->UseManualTime();

} // namespace

BENCHMARK_MAIN();
