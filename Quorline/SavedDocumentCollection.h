#pragma once

// The collection of saved documents that a restore script loops over, by Count and Item. Used on one thread.

#include "com/Collection.h"
#include "com/ScriptDispatch.h"
#include "resource.h"

class CSavedDocumentCollection : public CComObjectRootEx<CComSingleThreadModel>,
                                 public CComCoClass<CSavedDocumentCollection, &CLSID_SavedDocumentCollection>,
                                 public ISupportErrorInfoImpl<&IID_ISavedDocumentCollection>,
                                 public CScriptDispatch<ISavedDocumentCollection, &IID_ISavedDocumentCollection>,
                                 public ISavedDocumentAppender,
                                 public CCollection<ISavedDocument> {
public:
    DECLARE_REGISTRY_RESOURCEID(IDR_SAVEDDOCUMENTCOLLECTION)
    DECLARE_NOT_AGGREGATABLE(CSavedDocumentCollection)

    BEGIN_COM_MAP(CSavedDocumentCollection)
    COM_INTERFACE_ENTRY(ISavedDocumentCollection)
    COM_INTERFACE_ENTRY(IDispatch)
    COM_INTERFACE_ENTRY(ISupportErrorInfo)
    COM_INTERFACE_ENTRY(ISavedDocumentAppender)
    END_COM_MAP()

    /// Zero-based; E_INVALIDARG past the end. Sets no error information.
    STDMETHODIMP get_Item(unsigned long uiIndex, ISavedDocument** ppItem) override { return GetItem(uiIndex, ppItem); }
    STDMETHODIMP get_Count(unsigned long* pCount) override { return GetCount(pCount); }

    STDMETHODIMP AppendDocument(ISavedDocument* pDoc) override;
};

/// Appends to a collection of this library; E_NOINTERFACE for any other.
HRESULT AppendToCollection(ISavedDocumentCollection* pDocs, ISavedDocument* pDoc);
