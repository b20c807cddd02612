#include "ScriptState.h"

OBJECT_ENTRY_AUTO(CLSID_ScriptState, CScriptState)

STDMETHODIMP CScriptState::get_CurrentUser(BSTR*) {
    return E_NOTIMPL;
}
