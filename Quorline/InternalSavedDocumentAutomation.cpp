// How a record hands itself to scripts.

#include "InternalSavedDocument.h"
#include "SavedDocument.h"

HRESULT CInternalSavedDocument::CreateSavedDocumentCOMObject(ISavedDocument** ppDoc) const {
    if (ppDoc == nullptr)
        return E_POINTER;
    CComObject<CSavedDocument>* object = nullptr;
    const HRESULT hr = CComObject<CSavedDocument>::CreateInstance(&object);
    if (FAILED(hr))
        return hr;
    CComPtr<ISavedDocument> document(object);
    object->Init(*this);
    *ppDoc = document.Detach();
    return S_OK;
}
