// A trivial script through the runner, with a signer that answers at once, beside three others: the bare engine with
// the calls that the runner has to make besides (a signer made and asked, the text for debuggers, one log line), the
// bare engine alone, and the system's script control.

#include "BenchLog.h"
#include "Contest.h"

#include "ScriptExecution/ScriptRunner.h"

#include "BareEngine.h"
#include "ComApartment.h"
#include "TestSigner.h"

#include <array>

namespace {
struct CLanguage {
    CScript::ScriptLanguageEnum language;
    CLSID engine;
    const wchar_t* name;
    const wchar_t* extension;
    const wchar_t* text;
};

const std::array<CLanguage, 2> Languages{{
    {CScript::LangVBScript,
     {0xB54F3741, 0x5B07, 0x11CF, {0xA4, 0xB0, 0x00, 0xAA, 0x00, 0x4A, 0x55, 0xE8}},
     L"VBScript",
     L".vbs",
     L"x = 1\r\nFor i = 1 To 10\r\nx = x + i\r\nNext\r\n"},
    {CScript::LangJScript,
     {0xF414C260, 0x6AC0, 0x11CF, {0xB6, 0xD1, 0x00, 0xAA, 0x00, 0xBB, 0xBB, 0x58}},
     L"JScript",
     L".js",
     L"var x = 1;\nfor (var i = 1; i <= 10; i++)\n  x += i;\n"},
}};

/// The system's script control, through its automation interface.
class CScriptControl {
public:
    explicit CScriptControl(const wchar_t* language) {
        CLSID id{};
        if (FAILED(CLSIDFromProgID(L"MSScriptControl.ScriptControl", &id)) || FAILED(m_control.CoCreateInstance(id)))
            throw std::runtime_error("no script control");
        m_reset = Find(L"Reset");
        m_addCode = Find(L"AddCode");
        CComVariant value(language);
        DISPID put = DISPID_PROPERTYPUT;
        DISPPARAMS arguments{&value, &put, 1, 1};
        m_control->Invoke(Find(L"Language"), IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYPUT, &arguments, nullptr,
                          nullptr, nullptr);
    }

    /// Whether the last text ran: what its variable holds then.
    bool HasRun() {
        CComVariant name(L"x");
        DISPPARAMS arguments{&name, nullptr, 1, 0};
        CComVariant value;
        return SUCCEEDED(m_control->Invoke(Find(L"Eval"), IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &arguments,
                                           &value, nullptr, nullptr)) &&
               SUCCEEDED(value.ChangeType(VT_I4)) && value.lVal == 56;
    }

    HRESULT Run(const wchar_t* text) {
        DISPPARAMS none{};
        const HRESULT hr = Call(m_reset, none);
        CComVariant code(text);
        DISPPARAMS arguments{&code, nullptr, 1, 0};
        return FAILED(hr) ? hr : Call(m_addCode, arguments);
    }

private:
    DISPID Find(const wchar_t* name) {
        DISPID id = DISPID_UNKNOWN;
        auto* text = const_cast<wchar_t*>(name);
        m_control->GetIDsOfNames(IID_NULL, &text, 1, LOCALE_USER_DEFAULT, &id);
        return id;
    }
    HRESULT Call(DISPID method, DISPPARAMS& arguments) {
        return m_control->Invoke(method, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &arguments, nullptr, nullptr,
                                 nullptr);
    }

    CComPtr<IDispatch> m_control;
    DISPID m_reset = 0;
    DISPID m_addCode = 0;
};

/// What the runner has to do besides running the text.
HRESULT MakeRulesCalls(const CLanguage& language) {
    static const log4cxx::LoggerPtr logger = log4cxx::Logger::getLogger("Quorline.ScriptRunner");
    CComPtr<IScriptSigner> signer;
    VARIANT_BOOL verified = VARIANT_FALSE;
    if (FAILED(signer.CoCreateInstance(CLSID_ScriptSigner)) ||
        FAILED(signer->VerifyText(CComBSTR(language.extension), CComBSTR(language.text), VARIANT_FALSE, &verified)))
        return E_FAIL;
    LOG4CXX_INFO(logger, L"Running script '" << L"" << L"'");
    OutputDebugStringW(language.text);
    return S_OK;
}

/// The runner's own sequence, without the runner.
HRESULT RunWithRules(const CLanguage& language, IUnknown* item) {
    if (FAILED(MakeRulesCalls(language)))
        return E_FAIL;
    return RunBare(language.engine, language.text, item);
}

/// What a contest needs, for one language.
class CBench {
public:
    explicit CBench(int64_t language) : m_language(Languages[static_cast<std::size_t>(language)]) {
        m_script.SetScriptLang(m_language.language);
        m_script.SetText(m_language.text);
        CComObjectNoLock<CBareSite>* probe = nullptr;
        CComObjectNoLock<CBareSite>::CreateInstance(&probe);
        m_item = static_cast<IActiveScriptSite*>(probe);
        m_runner.AddNamedItem(L"Probe", m_item);
    }

    template <class Other> void Run(benchmark::State& state, double goal, Other other) {
        CContest(state, goal)
            .Run(
                [&] {
                    m_runner.RunScript(&m_script);
                    if (m_runner.HasError())
                        state.SkipWithError("a script failed");
                    m_signer.calls.clear();
                },
                [&] {
                    if (FAILED(other(m_language, m_item)))
                        state.SkipWithError("a script of the peer's failed");
                    m_signer.calls.clear();
                });
    }

private:
    CComApartment m_apartment;
    CBenchLog m_log;
    CTestSigner m_signer;
    const CLanguage& m_language;
    CScriptRunner m_runner;
    CScript m_script;
    CComPtr<IUnknown> m_item;
};

template <int64_t Language> void BesideRules(benchmark::State& state) {
    CBench(Language).Run(state, 1.10, &RunWithRules);
}
template <int64_t Language> void BesideEngine(benchmark::State& state) {
    CBench(Language).Run(state, CContest::Shown, [](const CLanguage& language, IUnknown* item) {
        return RunBare(language.engine, language.text, item);
    });
}
template <int64_t Language> void BesideControl(benchmark::State& state) {
    CBench bench(Language);
    CScriptControl control(Languages[Language].name);
    bench.Run(state, 1.0, [&](const CLanguage& language, IUnknown*) { return control.Run(language.text); });
    if (!control.HasRun())
        state.SkipWithError("the script control ran nothing");
}

/// As each of our scripts has an engine of its own, so that none meets what another one left.
template <int64_t Language> void BesideFreshControl(benchmark::State& state) {
    CBench(Language).Run(state, CContest::Proves, [](const CLanguage& language, IUnknown*) {
        return FAILED(MakeRulesCalls(language)) ? E_FAIL : CScriptControl(language.name).Run(language.text);
    });
}

BENCHMARK(BesideRules<0>)->Name("run a VBScript|the bare engine and the rules' calls")->Iterations(200);
BENCHMARK(BesideRules<1>)->Name("run a JScript|the bare engine and the rules' calls")->Iterations(200);
BENCHMARK(BesideEngine<0>)->Name("run a VBScript|the bare engine alone")->Iterations(200);
BENCHMARK(BesideEngine<1>)->Name("run a JScript|the bare engine alone")->Iterations(200);
BENCHMARK(BesideControl<0>)->Name("run a VBScript|the script control: Reset, AddCode")->Iterations(200);
BENCHMARK(BesideControl<1>)->Name("run a JScript|the script control: Reset, AddCode")->Iterations(200);
BENCHMARK(BesideFreshControl<0>)
    ->Name("run a VBScript|a script control for each script, and the rules' calls")
    ->Iterations(200);
BENCHMARK(BesideFreshControl<1>)
    ->Name("run a JScript|a script control for each script, and the rules' calls")
    ->Iterations(200);
} // namespace

BENCHMARK_MAIN();
