#pragma once

// What a restore script gets as "TalvinorRestoreScriptArgs": the documents that it is to restore. Used on one thread.

#include "com/ErrorDispatcher.h"
#include "com/ScriptDispatch.h"
#include "resource.h"

class CInternalSavedDocument;

class CTalvinorRestoreScriptArgs : public CComObjectRootEx<CComSingleThreadModel>,
                                   public CComCoClass<CTalvinorRestoreScriptArgs, &CLSID_TalvinorRestoreScriptArgs>,
                                   public ISupportErrorInfoImpl<&IID_ITalvinorRestoreScriptArgs>,
                                   public CScriptDispatch<ITalvinorRestoreScriptArgs, &IID_ITalvinorRestoreScriptArgs>,
                                   public CErrorDispatcher<&IID_ITalvinorRestoreScriptArgs> {
public:
    DECLARE_REGISTRY_RESOURCEID(IDR_TALVINORRESTORESCRIPTARGS)
    DECLARE_NOT_AGGREGATABLE(CTalvinorRestoreScriptArgs)

    BEGIN_COM_MAP(CTalvinorRestoreScriptArgs)
    COM_INTERFACE_ENTRY(ITalvinorRestoreScriptArgs)
    COM_INTERFACE_ENTRY(IDispatch)
    COM_INTERFACE_ENTRY(ISupportErrorInfo)
    END_COM_MAP()

    /// The collection WITHOUT a reference of the caller's own: it lives as long as this object and is not to be
    /// released. E_FAIL with error information until the first document was added.
    STDMETHODIMP get_RestoreDocuments(ISavedDocumentCollection** ppDocs) override;

    /// Engines release what a property gives them: on this path the collection carries a reference for them.
    STDMETHODIMP Invoke(DISPID member, REFIID iid, LCID locale, WORD flags, DISPPARAMS* params, VARIANT* result,
                        EXCEPINFO* exception, UINT* badArgument) override;

    /// Appends a copy of the record.
    HRESULT AddRestoreDocument(const CInternalSavedDocument& doc);

private:
    CComPtr<ISavedDocumentCollection> m_pDocs;
    bool m_dispatching = false;
};
