#include "ScriptSyntax.h"

#include "ExitCode.h"
#include "SystemText.h"

#include <atlbase.h>
#include <atlcom.h>

#include <activscp.h>

namespace {
/// Engines belong to one thread.
class CEngineApartment {
public:
    CEngineApartment() {
        if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)))
            throw CCommandError(ExitCode::Failed, L"COM could not be initialised.");
    }
    ~CEngineApartment() { CoUninitialize(); }
    CEngineApartment(const CEngineApartment&) = delete;
    CEngineApartment& operator=(const CEngineApartment&) = delete;
};

/// Keeps the first error that the engine tells of.
class CSyntaxSite : public CComObjectRootEx<CComSingleThreadModel>, public IActiveScriptSite {
public:
    BEGIN_COM_MAP(CSyntaxSite)
    COM_INTERFACE_ENTRY(IActiveScriptSite)
    END_COM_MAP()

    STDMETHODIMP GetLCID(LCID*) override { return E_NOTIMPL; }
    STDMETHODIMP GetItemInfo(LPCOLESTR, DWORD, IUnknown**, ITypeInfo**) override { return TYPE_E_ELEMENTNOTFOUND; }
    STDMETHODIMP GetDocVersionString(BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP OnScriptTerminate(const VARIANT*, const EXCEPINFO*) override { return S_OK; }
    STDMETHODIMP OnStateChange(SCRIPTSTATE) override { return S_OK; }
    STDMETHODIMP OnEnterScript() override { return S_OK; }
    STDMETHODIMP OnLeaveScript() override { return S_OK; }

    STDMETHODIMP OnScriptError(IActiveScriptError* error) override try {
        if (error == nullptr || m_error)
            return S_OK;
        CScriptError found;
        EXCEPINFO info{};
        error->GetExceptionInfo(&info);
        CComBSTR source;
        source.Attach(info.bstrSource);
        CComBSTR description;
        description.Attach(info.bstrDescription);
        CComBSTR helpFile;
        helpFile.Attach(info.bstrHelpFile);
        found.source.assign(source != nullptr ? source : L"");
        found.description =
            description != nullptr ? std::wstring(description) : DescribeCode(static_cast<unsigned long>(info.scode));
        DWORD context = 0;
        error->GetSourcePosition(&context, &found.line, &found.character);
        m_error = std::move(found);
        return S_OK;
    } catch (const std::exception&) {
        return E_OUTOFMEMORY;
    }

    std::optional<CScriptError> m_error;
};

CComPtr<IActiveScript> StartEngine(const CScript& script) {
    const wchar_t* const name = script.GetScriptLang() == CScript::LangVBScript ? L"VBScript" : L"JScript";
    CLSID id{};
    CComPtr<IActiveScript> engine;
    HRESULT hr = CLSIDFromProgID(name, &id);
    if (SUCCEEDED(hr))
        hr = engine.CoCreateInstance(id);
    if (FAILED(hr))
        throw CCommandError(ExitCode::Failed, std::wstring(L"the engine of ") + name + L" does not start: " +
                                                  DescribeCode(static_cast<unsigned long>(hr)) +
                                                  L"; 'quorline doctor' says more.");
    return engine;
}
} // namespace

std::optional<CScriptError> FindSyntaxError(const CScript& script) {
    const CEngineApartment apartment;
    const CComPtr<IActiveScript> engine = StartEngine(script);
    CComObjectNoLock<CSyntaxSite>* created = nullptr;
    if (FAILED(CComObjectNoLock<CSyntaxSite>::CreateInstance(&created)))
        throw std::bad_alloc();
    const CComPtr<IActiveScriptSite> site(created);
    const CComQIPtr<IActiveScriptParse> parser(engine);
    if (parser == nullptr || FAILED(engine->SetScriptSite(site)) || FAILED(parser->InitNew()))
        throw CCommandError(ExitCode::Failed, L"the script engine does not take scripts.");
    // What is parsed runs when the engine is connected, which it never is; without a place for a result nothing runs
    // while it is parsed either.
    const HRESULT hr = parser->ParseScriptText(script.GetText().c_str(), nullptr, nullptr, nullptr, 0, 1,
                                               SCRIPTTEXT_ISVISIBLE, nullptr, nullptr);
    engine->Close();
    if (FAILED(hr) && !created->m_error)
        created->m_error.emplace().description = DescribeCode(static_cast<unsigned long>(hr));
    if (created->m_error)
        created->m_error->script = script.GetScriptName();
    return created->m_error;
}
