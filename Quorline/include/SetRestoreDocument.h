#pragma once

// Exported for the hosts that link it, and does nothing: a document is restored by an operation
// (RestoreDocumentScriptOp.h).

#include "base/Export.h"

#include <windows.h>

class CInternalSavedDocument;

/// Does nothing and returns E_NOTIMPL.
QUORLINE_API HRESULT SetRestoreDocument(const CInternalSavedDocument& document);
