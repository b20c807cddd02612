#pragma once

// One saved document as a restore script sees it: a copy of the store's record. Used on one thread.

#include "com/ErrorDispatcher.h"
#include "InternalSavedDocument.h"
#include "com/ScriptDispatch.h"
#include "resource.h"

class CSavedDocument : public CComObjectRootEx<CComSingleThreadModel>,
                       public CComCoClass<CSavedDocument, &CLSID_SavedDocument>,
                       public ISupportErrorInfoImpl<&IID_ISavedDocument>,
                       public CScriptDispatch<ISavedDocument, &IID_ISavedDocument>,
                       public CErrorDispatcher<&IID_ISavedDocument> {
public:
    DECLARE_REGISTRY_RESOURCEID(IDR_SAVEDDOCUMENT)
    DECLARE_NOT_AGGREGATABLE(CSavedDocument)

    BEGIN_COM_MAP(CSavedDocument)
    COM_INTERFACE_ENTRY(ISavedDocument)
    COM_INTERFACE_ENTRY(IDispatch)
    COM_INTERFACE_ENTRY(ISupportErrorInfo)
    END_COM_MAP()

    /// Copies the record; its copy rule leaves the application's image name out.
    void Init(const CInternalSavedDocument& document) { m_document = document; }

    // The strings are copies for the caller. A null out-pointer sets error information and returns E_POINTER; a failed
    // allocation raises CAtlException.
    STDMETHODIMP get_Name(BSTR* pbstrVal) override;
    STDMETHODIMP get_OriginalPath(BSTR* pbstrVal) override;
    STDMETHODIMP get_TempPath(BSTR* pbstrVal) override;
    STDMETHODIMP get_AppExeName(BSTR* pbstrVal) override;
    STDMETHODIMP get_AppFriendlyName(BSTR* pbstrVal) override;
    STDMETHODIMP get_SaveTime(VARIANT* pTimestamp) override;
    /// 1 or 0, not the automation true value.
    STDMETHODIMP get_IsRecovered(long* pbRecovered) override;
    STDMETHODIMP get_SaveScriptName(BSTR* pbstrVal) override;
    STDMETHODIMP get_RestoreScriptName(BSTR* pbstrVal) override;

private:
    HRESULT CopyText(void (CInternalSavedDocument::*getter)(std::wstring&) const, BSTR* text) const;

    CInternalSavedDocument m_document;
};
