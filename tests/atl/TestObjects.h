#pragma once

// Classes and a module to try the COM helpers on. The dispatch interface comes from the library's own type library.

#include "Quorline.h"

#include <atlcom.h>

#include <functional>

/// {6B2C6A3E-7B6C-4A36-9B0E-0F6A4B8B8D11}
inline constexpr CLSID CLSID_TestState = {0x6b2c6a3e, 0x7b6c, 0x4a36, {0x9b, 0x0e, 0x0f, 0x6a, 0x4b, 0x8b, 0x8d, 0x11}};

class CTestModule : public CAtlDllModuleT<CTestModule> {
public:
    DECLARE_LIBID(LIBID_QuorlineLib)
};

CTestModule& TestModule();

/// Two interfaces, counts of what happened to it, and failures on demand.
class CTestState : public CComObjectRootEx<CComSingleThreadModel>,
                   public CComCoClass<CTestState, &CLSID_TestState>,
                   public IDispatchImpl<IScriptState, &IID_IScriptState, &LIBID_QuorlineLib, 5, 0>,
                   public ISupportErrorInfoImpl<&IID_IScriptState> {
public:
    DECLARE_NO_REGISTRY()
    DECLARE_NOT_AGGREGATABLE(CTestState)

    BEGIN_COM_MAP(CTestState)
    COM_INTERFACE_ENTRY(IScriptState)
    COM_INTERFACE_ENTRY(IDispatch)
    COM_INTERFACE_ENTRY(ISupportErrorInfo)
    END_COM_MAP()

    CTestState() { ++alive; }
    ~CTestState() { --alive; }

    HRESULT FinalConstruct() { return construct ? construct(static_cast<IScriptState*>(this)) : S_OK; }
    void FinalRelease() { ++finalReleases; }

    STDMETHODIMP get_CurrentUser(BSTR* user) override {
        *user = CComBSTR(L"somebody").Detach();
        return S_OK;
    }

    static inline int alive = 0;
    static inline int finalReleases = 0;
    static inline std::function<HRESULT(IUnknown*)> construct;
};
