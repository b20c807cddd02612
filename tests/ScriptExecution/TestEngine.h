#pragma once

// An engine that stands in for the VBScript engine in this apartment: it records how it is driven and fails where a
// test wants it to, which the system's engines cannot be made to do.

#include "ClassObject.h"

#include <activscp.h>

#include <string>
#include <vector>

class CTestEngine {
public:
    std::wstring failing; ///< name of the call that fails
    HRESULT failure = E_ACCESSDENIED;
    std::vector<std::wstring> calls; ///< with their flags; releases of parser and engine show the site's references
    int created = 0;
    IActiveScriptSite* site = nullptr; ///< of the last run, alive as long as its runner

    explicit CTestEngine(const CLSID& engine)
        : m_class(engine, [this](REFIID iid, void** object) { return Create(iid, object); }) {}
    CTestEngine(const CTestEngine&) = delete;
    CTestEngine& operator=(const CTestEngine&) = delete;

private:
    HRESULT Called(const std::wstring& name, const std::wstring& details = {}) {
        calls.push_back(name + details);
        return name == failing ? failure : S_OK;
    }

    class CParser : public CComObjectRootEx<CComSingleThreadModel>, public IActiveScriptParse {
    public:
        BEGIN_COM_MAP(CParser)
        COM_INTERFACE_ENTRY(IActiveScriptParse)
        END_COM_MAP()
        void FinalRelease() { m_test->Called(L"parser released, site ", std::to_wstring(References(m_site))); }

        STDMETHODIMP InitNew() override { return m_test->Called(L"InitNew"); }
        STDMETHODIMP AddScriptlet(LPCOLESTR, LPCOLESTR, LPCOLESTR, LPCOLESTR, LPCOLESTR, LPCOLESTR, DWORDLONG, ULONG,
                                  DWORD, BSTR*, EXCEPINFO*) override {
            return E_NOTIMPL;
        }
        STDMETHODIMP ParseScriptText(LPCOLESTR text, LPCOLESTR item, IUnknown* context, LPCOLESTR delimiter,
                                     DWORDLONG source, ULONG line, DWORD flags, VARIANT* result,
                                     EXCEPINFO* info) override {
            if (item != nullptr || context != nullptr || delimiter != nullptr || source != 0 || result == nullptr ||
                info == nullptr)
                return E_INVALIDARG;
            return m_test->Called(L"ParseScriptText", L" " + std::wstring(text) + L" " + std::to_wstring(line) + L" " +
                                                          std::to_wstring(flags));
        }

        CTestEngine* m_test = nullptr;
        CComPtr<IActiveScriptSite> m_site;
    };

    class CEngine : public CComObjectRootEx<CComSingleThreadModel>, public IActiveScript {
    public:
        HRESULT _InternalQueryInterface(REFIID iid, void** object) {
            if (!IsEqualIID(iid, __uuidof(IActiveScriptParse))) {
                *object = static_cast<IActiveScript*>(this);
                AddRef();
                return S_OK;
            }
            CComObjectNoLock<CParser>* parser = nullptr;
            CComObjectNoLock<CParser>::CreateInstance(&parser);
            parser->m_test = m_test;
            parser->m_site = m_site;
            return CComPtr<CComObjectNoLock<CParser>>(parser)->QueryInterface(iid, object);
        }
        void FinalRelease() { m_test->Called(L"engine released, site ", std::to_wstring(References(m_site))); }

        STDMETHODIMP SetScriptSite(IActiveScriptSite* site) override {
            m_site = site;
            m_test->site = site;
            return m_test->Called(L"SetScriptSite");
        }
        STDMETHODIMP GetScriptSite(REFIID, void**) override { return E_NOTIMPL; }
        STDMETHODIMP SetScriptState(SCRIPTSTATE state) override {
            return m_test->Called(L"SetScriptState", L" " + std::to_wstring(state));
        }
        STDMETHODIMP GetScriptState(SCRIPTSTATE*) override { return E_NOTIMPL; }
        STDMETHODIMP Close() override { return m_test->Called(L"Close"); }
        STDMETHODIMP AddNamedItem(LPCOLESTR name, DWORD flags) override {
            return m_test->Called(L"AddNamedItem", L" " + std::wstring(name) + L" " + std::to_wstring(flags));
        }
        STDMETHODIMP AddTypeLib(REFGUID, DWORD, DWORD, DWORD) override { return E_NOTIMPL; }
        STDMETHODIMP GetScriptDispatch(LPCOLESTR, IDispatch**) override { return E_NOTIMPL; }
        STDMETHODIMP GetCurrentScriptThreadID(SCRIPTTHREADID*) override { return E_NOTIMPL; }
        STDMETHODIMP GetScriptThreadID(DWORD, SCRIPTTHREADID*) override { return E_NOTIMPL; }
        STDMETHODIMP GetScriptThreadState(SCRIPTTHREADID, SCRIPTTHREADSTATE*) override { return E_NOTIMPL; }
        STDMETHODIMP InterruptScriptThread(SCRIPTTHREADID, const EXCEPINFO*, DWORD) override { return E_NOTIMPL; }
        STDMETHODIMP Clone(IActiveScript**) override { return E_NOTIMPL; }

        CTestEngine* m_test = nullptr;
        CComPtr<IActiveScriptSite> m_site;
    };

    HRESULT Create(REFIID iid, void** object) {
        ++created;
        if (failing == L"CreateInstance")
            return failure;
        CComObjectNoLock<CEngine>* engine = nullptr;
        CComObjectNoLock<CEngine>::CreateInstance(&engine);
        engine->m_test = this;
        return CComPtr<CComObjectNoLock<CEngine>>(engine)->QueryInterface(iid, object);
    }

    static ULONG References(IUnknown* object) {
        if (object == nullptr)
            return 0;
        object->AddRef();
        return object->Release();
    }

    const CClassObject m_class;
};
