#pragma once

// A placeholder for what scripts may one day ask of the session they run in. Used on one thread.

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
