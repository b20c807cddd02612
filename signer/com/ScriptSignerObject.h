#pragma once

// The COM class that script hosts create to have scripts verified and signed. No state: any apartment, any thread. A
// failed call leaves error information; a script that is not accepted is no failure, its reason is in the log. Nothing
// is ever shown to a user: services have no desktop, so the argument that allows it is always taken as "never".

#include "com/SignerResource.h"
#include "ScriptSigner.h"

#include <atlbase.h>
#include <atlcom.h>

class CScriptSignerObject : public CComObjectRootEx<CComMultiThreadModel>,
                            public CComCoClass<CScriptSignerObject, &CLSID_ScriptSigner>,
                            public IDispatchImpl<IScriptSigner, &IID_IScriptSigner, &LIBID_QuorlineSignerLib, 1, 0>,
                            public ISupportErrorInfoImpl<&IID_IScriptSigner> {
public:
    DECLARE_REGISTRY_RESOURCEID(IDR_SCRIPTSIGNER)
    DECLARE_NOT_AGGREGATABLE(CScriptSignerObject)

    BEGIN_COM_MAP(CScriptSignerObject)
    COM_INTERFACE_ENTRY(IScriptSigner)
    COM_INTERFACE_ENTRY(IDispatch)
    COM_INTERFACE_ENTRY(ISupportErrorInfo)
    END_COM_MAP()

    STDMETHODIMP SignText(BSTR extension, BSTR text, BSTR certificate, BSTR store, BSTR* signedText) override;
    STDMETHODIMP SignFile(BSTR fileName, BSTR certificate, BSTR store) override;
    STDMETHODIMP VerifyText(BSTR extension, BSTR text, VARIANT_BOOL showUserInterface, VARIANT_BOOL* verified) override;
    STDMETHODIMP VerifyFile(BSTR fileName, VARIANT_BOOL showUserInterface, VARIANT_BOOL* verified) override;
};
