#pragma once

// Reopens one saved document after the machine has resumed: runs the restore script of its application with the named
// item "TalvinorRestoreScriptArgs", through which the script reads the document.
//
//     CRestoreDocumentScriptOp op;
//     op.SetSavedDocument(document);   // with the application's script in it
//     runner.Start(&op);
//
// The document counts as recovered from the moment the script is about to run, even if it then fails; the record with
// its new status stays readable. Whoever keeps the records writes that status back.

#include "InternalSavedDocument.h"
#include "ScriptExecution/AsyncScriptOp.h"

#include <wrl/client.h>

struct ISavedDocument;
struct ITalvinorRestoreScriptArgs;

class QUORLINE_API CRestoreDocumentScriptOp : public CAsyncScriptOp {
public:
    CRestoreDocumentScriptOp();
    CRestoreDocumentScriptOp(const CRestoreDocumentScriptOp& other);
    CRestoreDocumentScriptOp& operator=(const CRestoreDocumentScriptOp& other);
    virtual ~CRestoreDocumentScriptOp();

    /// Fills the record from an automation object; the script to run stays. Throws CMorvaneException for null and
    /// COSException for a property that fails.
    void SetSavedDocument(ISavedDocument* pDoc);

    /// Copies the record and makes its restore script the only one to run, whatever SetScripts was given.
    void SetSavedDocument(const CInternalSavedDocument& doc);

    CInternalSavedDocument& GetSavedDocument() { return m_document; }

    /// New arguments that hold the document, with one reference for the caller; S_OK even if the document could not be
    /// added. E_POINTER for null.
    HRESULT CreateScriptArgsCOMObject(ITalvinorRestoreScriptArgs** ppArgs);

    long OnComplete() override;
    long AddNamedItems() override;
    long ReleaseNamedItems() override;

private:
    CInternalSavedDocument m_document;
    CScript m_restoreScript;
    Microsoft::WRL::ComPtr<ITalvinorRestoreScriptArgs> m_scriptArgs;
};
