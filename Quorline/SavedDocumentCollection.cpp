#include "SavedDocumentCollection.h"

OBJECT_ENTRY_AUTO(CLSID_SavedDocumentCollection, CSavedDocumentCollection)

STDMETHODIMP CSavedDocumentCollection::AppendDocument(ISavedDocument* pDoc) {
    return pDoc == nullptr ? E_POINTER : Append(pDoc);
}

HRESULT AppendToCollection(ISavedDocumentCollection* pDocs, ISavedDocument* pDoc) {
    const CComQIPtr<ISavedDocumentAppender> appender(pDocs);
    return appender ? appender->AppendDocument(pDoc) : E_NOINTERFACE;
}
