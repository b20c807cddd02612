#pragma once

// Stands in the type library and in the registry for scripts and hosts that name it, and answers nothing: what a script
// may ask of its session, the host's Session object tells. Used on one thread.

#include "com/ScriptDispatch.h"
#include "resource.h"

class CScriptState : public CComObjectRootEx<CComSingleThreadModel>,
                     public CComCoClass<CScriptState, &CLSID_ScriptState>,
                     public ISupportErrorInfoImpl<&IID_IScriptState>,
                     public CScriptDispatch<IScriptState, &IID_IScriptState> {
public:
    DECLARE_REGISTRY_RESOURCEID(IDR_SCRIPTSTATE)
    DECLARE_NOT_AGGREGATABLE(CScriptState)

    BEGIN_COM_MAP(CScriptState)
    COM_INTERFACE_ENTRY(IScriptState)
    COM_INTERFACE_ENTRY(IDispatch)
    COM_INTERFACE_ENTRY(ISupportErrorInfo)
    END_COM_MAP()

    /// E_NOTIMPL, whatever it is given.
    STDMETHODIMP get_CurrentUser(BSTR* pVal) override;
};
