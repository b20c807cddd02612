#pragma once

// The least that runs a script: an engine, a site with one named item that ignores errors, nothing else. What the
// runner costs and leaks is measured against it.

#include <atlbase.h>
#include <atlcom.h>

#include <activscp.h>

class CBareSite : public CComObjectRootEx<CComSingleThreadModel>, public IActiveScriptSite {
public:
    BEGIN_COM_MAP(CBareSite)
    COM_INTERFACE_ENTRY(IActiveScriptSite)
    END_COM_MAP()

    STDMETHODIMP GetLCID(LCID*) override { return E_NOTIMPL; }
    STDMETHODIMP GetItemInfo(LPCOLESTR, DWORD mask, IUnknown** object, ITypeInfo** info) override {
        if ((mask & SCRIPTINFO_IUNKNOWN) != 0)
            item.CopyTo(object);
        if ((mask & SCRIPTINFO_ITYPEINFO) != 0)
            *info = nullptr;
        return S_OK;
    }
    STDMETHODIMP GetDocVersionString(BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP OnScriptTerminate(const VARIANT*, const EXCEPINFO*) override { return E_NOTIMPL; }
    STDMETHODIMP OnStateChange(SCRIPTSTATE) override { return E_NOTIMPL; }
    STDMETHODIMP OnScriptError(IActiveScriptError*) override { return S_OK; }
    STDMETHODIMP OnEnterScript() override { return E_NOTIMPL; }
    STDMETHODIMP OnLeaveScript() override { return E_NOTIMPL; }

    CComPtr<IUnknown> item;
};

/// Creates an engine, runs the text with the item "Probe" and closes the engine; the result of the first failed call.
inline HRESULT RunBare(const CLSID& engineClass, const wchar_t* text, IUnknown* probe) {
    CComObjectNoLock<CBareSite>* site = nullptr;
    CComObjectNoLock<CBareSite>::CreateInstance(&site);
    const CComPtr<IActiveScriptSite> siteReference(site);
    site->item = probe;
    CComPtr<IActiveScript> engine;
    HRESULT hr = engine.CoCreateInstance(engineClass);
    if (FAILED(hr))
        return hr;
    engine->SetScriptSite(siteReference);
    const CComQIPtr<IActiveScriptParse> parser(engine);
    parser->InitNew();
    engine->AddNamedItem(L"Probe", SCRIPTITEM_ISVISIBLE | SCRIPTITEM_ISPERSISTENT);
    VARIANT result;
    VariantInit(&result);
    EXCEPINFO exception{};
    hr = parser->ParseScriptText(text, nullptr, nullptr, nullptr, 0, 1, SCRIPTTEXT_ISVISIBLE | SCRIPTTEXT_ISPERSISTENT,
                                 &result, &exception);
    if (SUCCEEDED(hr))
        hr = engine->SetScriptState(SCRIPTSTATE_CONNECTED);
    VariantClear(&result);
    engine->Close();
    return hr;
}
