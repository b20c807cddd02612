#include "SetRestoreDocument.h"

HRESULT SetRestoreDocument(const CInternalSavedDocument&) {
    return E_NOTIMPL;
}
