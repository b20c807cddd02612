#pragma once

// What a save script gets as "TalvinorDocumentStore": paths to save to, the log, and the veto. A face over one
// CInternalDocumentStore. A script or a session object may keep it for longer than the store lives: from then on GetNew
// and VetoTransition answer E_POINTER. Used on the thread of the engine that runs the script.

#include "com/ErrorDispatcher.h"
#include "com/ScriptDispatch.h"
#include "resource.h"

#include <memory>

class CInternalDocumentStore;

class CDocumentStore : public CComObjectRootEx<CComSingleThreadModel>,
                       public CComCoClass<CDocumentStore, &CLSID_DocumentStore>,
                       public ISupportErrorInfoImpl<&IID_IDocumentStore>,
                       public CScriptDispatch<IDocumentStore, &IID_IDocumentStore>,
                       public CErrorDispatcher<&IID_IDocumentStore> {
public:
    DECLARE_REGISTRY_RESOURCEID(IDR_DOCUMENTSTORE)
    DECLARE_NOT_AGGREGATABLE(CDocumentStore)

    BEGIN_COM_MAP(CDocumentStore)
    COM_INTERFACE_ENTRY(IDocumentStore)
    COM_INTERFACE_ENTRY(IDispatch)
    COM_INTERFACE_ENTRY(ISupportErrorInfo)
    END_COM_MAP()

    /// Call once, right after creation; throws CMorvaneException the second time.
    void SetInternalDocumentStore(CInternalDocumentStore* pStore);

    /// Reserves a path and hands it out. The extension may be left out or be anything that converts to text; what does
    /// not convert gives the conversion's HRESULT without error information. Every other failure sets error
    /// information, which says what is wrong with a name that no file can have. Raises CAtlException only when the
    /// extension cannot be copied.
    STDMETHODIMP GetNew(BSTR bstrDocName, BSTR bstrOriginalDocPath, VARIANT varFileExtension,
                        BSTR* bstrRetPath) override;

    /// Levels as in the registry: 0 ERROR, 1 WARN, 2 INFO, 3 DEBUG, anything else WARN. Always S_OK.
    STDMETHODIMP LogMessage(unsigned short uLevel, BSTR* strMessage) override;

    /// E_FAIL when the store has no state change.
    STDMETHODIMP VetoTransition() override;

private:
    /// Null without a store, and when it is gone.
    CInternalDocumentStore* GetStore() const { return m_storeLifetime.expired() ? nullptr : m_pIntStore; }

    CInternalDocumentStore* m_pIntStore = nullptr;
    std::weak_ptr<const void> m_storeLifetime;
};
