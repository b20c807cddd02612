// How a record hands itself to scripts.

#include "InternalSavedDocument.h"
#include "SavedDocument.h"
#include "com/NewObject.h"

HRESULT CInternalSavedDocument::CreateSavedDocumentCOMObject(ISavedDocument** ppDoc) const {
    if (ppDoc == nullptr)
        return E_POINTER;
    CComPtr<CComObject<CSavedDocument>> document;
    if (const HRESULT hr = MakeObject(document); FAILED(hr))
        return hr;
    document->Init(*this);
    *ppDoc = document.Detach();
    return S_OK;
}
