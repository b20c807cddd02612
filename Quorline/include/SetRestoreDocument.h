#pragma once

// A placeholder for hosts that would restore a document without an operation of their own.

#include "base/Export.h"

#include <windows.h>

class CInternalSavedDocument;

/// Does nothing and returns E_NOTIMPL.
QUORLINE_API HRESULT SetRestoreDocument(const CInternalSavedDocument& document);
