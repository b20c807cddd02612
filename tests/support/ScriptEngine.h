#pragma once

// An Active Scripting engine driven by hand: named items, scripts, values read back, the error of the last script.
//
//     CScriptEngine engine(L"VBScript");
//     engine.AddItem(L"Args", args);
//     EXPECT_TRUE(engine.Run(L"n = Args.RestoreDocuments.Count")) << engine.Error().Text();
//     EXPECT_EQ(engine.Value(L"n"), L"2");

#include <atlbase.h>
#include <atlcom.h>

#include <activscp.h>

#include <map>
#include <stdexcept>
#include <string>

struct CScriptError {
    HRESULT code = S_OK;
    std::wstring source;
    std::wstring description;
    unsigned long line = 0;
};

class CTestScriptSite : public CComObjectRootEx<CComSingleThreadModel>, public IActiveScriptSite {
public:
    BEGIN_COM_MAP(CTestScriptSite)
    COM_INTERFACE_ENTRY(IActiveScriptSite)
    END_COM_MAP()

    STDMETHODIMP GetLCID(LCID*) override { return E_NOTIMPL; }
    STDMETHODIMP GetItemInfo(LPCOLESTR name, DWORD mask, IUnknown** object, ITypeInfo** info) override {
        const auto found = items.find(name);
        if (found == items.end())
            return TYPE_E_ELEMENTNOTFOUND;
        if ((mask & SCRIPTINFO_IUNKNOWN) != 0)
            found->second.CopyTo(object);
        if ((mask & SCRIPTINFO_ITYPEINFO) != 0)
            *info = nullptr;
        return S_OK;
    }
    STDMETHODIMP GetDocVersionString(BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP OnScriptTerminate(const VARIANT*, const EXCEPINFO*) override { return S_OK; }
    STDMETHODIMP OnStateChange(SCRIPTSTATE) override { return S_OK; }
    STDMETHODIMP OnScriptError(IActiveScriptError* reported) override {
        EXCEPINFO info{};
        reported->GetExceptionInfo(&info);
        const CComBSTR source = Taken(info.bstrSource);
        const CComBSTR description = Taken(info.bstrDescription);
        SysFreeString(info.bstrHelpFile);
        DWORD context = 0;
        ULONG line = 0;
        LONG character = 0;
        reported->GetSourcePosition(&context, &line, &character);
        error = {info.scode, source ? source.m_str : L"", description ? description.m_str : L"", line};
        return S_OK;
    }
    STDMETHODIMP OnEnterScript() override { return S_OK; }
    STDMETHODIMP OnLeaveScript() override { return S_OK; }

    std::map<std::wstring, CComPtr<IUnknown>> items;
    CScriptError error;

private:
    static CComBSTR Taken(BSTR text) {
        CComBSTR owner;
        owner.Attach(text);
        return owner;
    }
};

class CScriptEngine {
public:
    explicit CScriptEngine(const wchar_t* language) {
        CLSID clsid{};
        CComObjectNoLock<CTestScriptSite>::CreateInstance(&m_site);
        m_siteReference = m_site;
        Require(CLSIDFromProgID(language, &clsid));
        Require(m_engine.CoCreateInstance(clsid));
        m_parser = CComQIPtr<IActiveScriptParse>(m_engine);
        Require(m_engine->SetScriptSite(m_siteReference));
        Require(m_parser->InitNew());
    }
    ~CScriptEngine() { Close(); }
    CScriptEngine(const CScriptEngine&) = delete;
    CScriptEngine& operator=(const CScriptEngine&) = delete;

    void AddItem(const wchar_t* name, IUnknown* object) {
        m_site->items[name] = object;
        Require(m_engine->AddNamedItem(name, SCRIPTITEM_ISVISIBLE | SCRIPTITEM_ISPERSISTENT));
    }

    /// Whether the script ran without an error. The first run starts the engine.
    bool Run(const wchar_t* text) {
        m_site->error = {};
        const HRESULT hr =
            m_parser->ParseScriptText(text, nullptr, nullptr, nullptr, 0, 1, SCRIPTTEXT_ISVISIBLE, nullptr, nullptr);
        const HRESULT connected = m_engine->SetScriptState(SCRIPTSTATE_CONNECTED);
        return SUCCEEDED(hr) && SUCCEEDED(connected) && SUCCEEDED(m_site->error.code);
    }
    const CScriptError& Error() const { return m_site->error; }

    /// A global variable as text.
    std::wstring Value(const wchar_t* variable) {
        CComPtr<IDispatch> globals;
        Require(m_engine->GetScriptDispatch(nullptr, &globals));
        LPOLESTR name = const_cast<LPOLESTR>(variable);
        DISPID id = DISPID_UNKNOWN;
        Require(globals->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id));
        DISPPARAMS none{};
        CComVariant value;
        Require(
            globals->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, &value, nullptr, nullptr));
        Require(value.ChangeType(VT_BSTR));
        return value.bstrVal;
    }

    /// What a function of one text returns, as text.
    std::wstring Call(const wchar_t* function, const std::wstring& text) {
        CComPtr<IDispatch> globals;
        Require(m_engine->GetScriptDispatch(nullptr, &globals));
        LPOLESTR name = const_cast<LPOLESTR>(function);
        DISPID id = DISPID_UNKNOWN;
        Require(globals->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id));
        const CComBSTR owner(static_cast<int>(text.size()), text.data());
        CComVariant argument(owner.m_str);
        DISPPARAMS one{&argument, nullptr, 1, 0};
        CComVariant value;
        Require(globals->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &one, &value, nullptr, nullptr));
        Require(value.ChangeType(VT_BSTR));
        return std::wstring(value.bstrVal, SysStringLen(value.bstrVal));
    }

    /// Ends the engine; objects that scripts kept are released.
    void Close() {
        if (m_engine)
            m_engine->Close();
        m_parser.Release();
        m_engine.Release();
        m_siteReference.Release();
    }

private:
    static void Require(HRESULT hr) {
        if (FAILED(hr))
            throw std::runtime_error("script engine: " + std::to_string(hr));
    }

    CComObjectNoLock<CTestScriptSite>* m_site = nullptr;
    CComPtr<IActiveScriptSite> m_siteReference;
    CComPtr<IActiveScript> m_engine;
    CComPtr<IActiveScriptParse> m_parser;
};
