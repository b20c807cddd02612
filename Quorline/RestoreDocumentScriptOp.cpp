#include "RestoreDocumentScriptOp.h"

#include "TalvinorRestoreScriptArgs.h"
#include "com/NewObject.h"
#include "logging/Checks.h"

CRestoreDocumentScriptOp::CRestoreDocumentScriptOp() = default;
CRestoreDocumentScriptOp::CRestoreDocumentScriptOp(const CRestoreDocumentScriptOp& other) = default;
CRestoreDocumentScriptOp& CRestoreDocumentScriptOp::operator=(const CRestoreDocumentScriptOp& other) = default;
CRestoreDocumentScriptOp::~CRestoreDocumentScriptOp() = default;

void CRestoreDocumentScriptOp::SetSavedDocument(ISavedDocument* pDoc) {
    if (!pDoc)
        SanityCheckFailed(QUORLINE_HERE, L"Null argument to CRestoreDocumentScriptOp::SetSavedDocument");
    m_document.InitFrom(pDoc);
}

void CRestoreDocumentScriptOp::SetSavedDocument(const CInternalSavedDocument& doc) {
    m_document = doc;
    m_restoreScript = m_document.GetScript().GetRestoreScript();
    m_scripts->assign(1, &m_restoreScript);
}

HRESULT CRestoreDocumentScriptOp::CreateScriptArgsCOMObject(ITalvinorRestoreScriptArgs** ppArgs) {
    if (!ppArgs)
        return E_POINTER;
    CComPtr<CComObject<CTalvinorRestoreScriptArgs>> args;
    if (const HRESULT hr = MakeObject(args); FAILED(hr))
        return hr;
    // kept: arguments without the document are handed out too.
    args->AddRestoreDocument(m_document);
    *ppArgs = args.Detach();
    return S_OK;
}

long CRestoreDocumentScriptOp::OnComplete() {
    return S_OK;
}

long CRestoreDocumentScriptOp::AddNamedItems() {
    // Before the script: one that fails must not be started again at every resume.
    m_document.SetStatus(TEMP_DOCUMENT_RECOVERED);
    CComPtr<CComObject<CTalvinorRestoreScriptArgs>> args;
    if (const HRESULT hr = MakeObject(args); FAILED(hr))
        return hr;
    m_scriptArgs = args.p;
    const HRESULT hr = args->AddRestoreDocument(m_document);
    if (SUCCEEDED(hr))
        m_runner.AddNamedItem(L"TalvinorRestoreScriptArgs", m_scriptArgs.Get());
    return hr;
}

long CRestoreDocumentScriptOp::ReleaseNamedItems() {
    m_runner.ClearNamedItems();
    return S_OK;
}
