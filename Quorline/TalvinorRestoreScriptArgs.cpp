#include "TalvinorRestoreScriptArgs.h"

#include "InternalSavedDocument.h"
#include "SavedDocumentCollection.h"

OBJECT_ENTRY_AUTO(CLSID_TalvinorRestoreScriptArgs, CTalvinorRestoreScriptArgs)

STDMETHODIMP CTalvinorRestoreScriptArgs::get_RestoreDocuments(ISavedDocumentCollection** ppDocs) {
    if (ppDocs == nullptr)
        return Error(E_POINTER);
    if (!m_pDocs)
        return Error(E_FAIL);
    // kept: no added reference on the interface call.
    *ppDocs = m_pDocs;
    if (m_dispatching)
        m_pDocs.p->AddRef();
    return S_OK;
}

STDMETHODIMP CTalvinorRestoreScriptArgs::Invoke(DISPID member, REFIID iid, LCID locale, WORD flags, DISPPARAMS* params,
                                                VARIANT* result, EXCEPINFO* exception, UINT* badArgument) {
    // The reference is taken where the pointer is handed out: whatever the call then does with its result, keep it,
    // drop it or fail, it is released exactly once.
    m_dispatching = true;
    const HRESULT hr = CScriptDispatch::Invoke(member, iid, locale, flags, params, result, exception, badArgument);
    m_dispatching = false;
    return hr;
}

HRESULT CTalvinorRestoreScriptArgs::AddRestoreDocument(const CInternalSavedDocument& doc) {
    CComPtr<ISavedDocument> object;
    HRESULT hr = doc.CreateSavedDocumentCOMObject(&object);
    if (FAILED(hr))
        return hr;
    if (!m_pDocs) {
        hr = CSavedDocumentCollection::CreateInstance(&m_pDocs);
        if (FAILED(hr))
            return hr;
    }
    return AppendToCollection(m_pDocs, object);
}
