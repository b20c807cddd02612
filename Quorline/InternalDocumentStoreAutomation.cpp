// How stores, and the history of stores, hand their contents to the automation objects: all that either knows of them.

#include "DocumentStore.h"
#include "InternalDocumentStore.h"
#include "SavedDocumentCollection.h"
#include "ScriptExecution/DocumentStoreHistory.h"
#include "com/NewObject.h"
#include "logging/TraceScope.h"

HRESULT CInternalDocumentStore::CreateDocumentStoreCOMObject(IDocumentStore** ppStore) {
    const CTraceScope trace(L"CInternalDocumentStore::CreateDocumentStoreCOMObject");
    if (ppStore == nullptr)
        return E_POINTER;
    CComPtr<CComObject<CDocumentStore>> store;
    if (const HRESULT hr = MakeObject(store); FAILED(hr))
        return hr;
    store->SetInternalDocumentStore(this);
    *ppStore = store.Detach();
    return S_OK;
}

HRESULT CInternalDocumentStore::AddDocumentsToCOMCollection(ISavedDocumentCollection* pDocs) {
    if (pDocs == nullptr)
        return E_POINTER;
    if (m_savedDocuments == nullptr)
        return S_OK;
    for (const auto& document : *m_savedDocuments) {
        CComPtr<ISavedDocument> object;
        HRESULT hr = document->CreateSavedDocumentCOMObject(&object);
        if (SUCCEEDED(hr))
            hr = AppendToCollection(pDocs, object);
        if (FAILED(hr))
            return hr;
    }
    return S_OK;
}

HRESULT CInternalDocumentStore::CreateSavedDocumentCollectionCOMObject(ISavedDocumentCollection** ppDocs) {
    if (ppDocs == nullptr)
        return E_POINTER;
    CComPtr<ISavedDocumentCollection> docs;
    HRESULT hr = CSavedDocumentCollection::CreateInstance(&docs);
    if (SUCCEEDED(hr))
        hr = AddDocumentsToCOMCollection(docs);
    *ppDocs = SUCCEEDED(hr) ? docs.Detach() : nullptr;
    return hr;
}

HRESULT CDocumentStoreHistory::CreateSavedDocumentCollectionCOMObject(ISavedDocumentCollection** ppDocs) {
    if (ppDocs == nullptr)
        return E_POINTER;
    CComPtr<ISavedDocumentCollection> docs;
    const HRESULT hr = CSavedDocumentCollection::CreateInstance(&docs);
    if (FAILED(hr))
        return hr;
    Init();
    for (const auto& info : m_infos) {
        const HRESULT added = info->GetInternalDocumentStore()->AddDocumentsToCOMCollection(docs);
        if (FAILED(added))
            return added;
    }
    *ppDocs = docs.Detach();
    return S_OK;
}
