#include "SavedDocument.h"

#include "com/ComString.h"

#include <new>

OBJECT_ENTRY_AUTO(CLSID_SavedDocument, CSavedDocument)

HRESULT CSavedDocument::CopyText(void (CInternalSavedDocument::*getter)(std::wstring&) const, BSTR* text) const try {
    if (text == nullptr)
        return Error(E_POINTER);
    std::wstring value;
    (m_document.*getter)(value);
    *text = CopyToBstr(value).Detach();
    return S_OK;
} catch (const std::bad_alloc&) {
    // kept: the failed allocation of the copy itself is raised.
    return Error(E_OUTOFMEMORY);
}

STDMETHODIMP CSavedDocument::get_Name(BSTR* pbstrVal) {
    return CopyText(&CInternalSavedDocument::GetDocName, pbstrVal);
}

STDMETHODIMP CSavedDocument::get_OriginalPath(BSTR* pbstrVal) {
    return CopyText(&CInternalSavedDocument::GetDocOriginalPath, pbstrVal);
}

STDMETHODIMP CSavedDocument::get_TempPath(BSTR* pbstrVal) {
    return CopyText(&CInternalSavedDocument::GetDocTempPath, pbstrVal);
}

STDMETHODIMP CSavedDocument::get_AppExeName(BSTR* pbstrVal) {
    return CopyText(&CInternalSavedDocument::GetAppExeImageName, pbstrVal);
}

STDMETHODIMP CSavedDocument::get_AppFriendlyName(BSTR* pbstrVal) {
    return CopyText(&CInternalSavedDocument::GetAppFriendlyName, pbstrVal);
}

STDMETHODIMP CSavedDocument::get_SaveTime(VARIANT* pTimestamp) {
    // kept: declared for scripts, but records carry no time of their own.
    return pTimestamp == nullptr ? Error(E_POINTER) : E_NOTIMPL;
}

STDMETHODIMP CSavedDocument::get_IsRecovered(long* pbRecovered) {
    if (pbRecovered == nullptr)
        return Error(E_POINTER);
    *pbRecovered = m_document.GetStatus() == TEMP_DOCUMENT_RECOVERED ? 1 : 0;
    return S_OK;
}

STDMETHODIMP CSavedDocument::get_SaveScriptName(BSTR* pbstrVal) {
    return CopyText(&CInternalSavedDocument::GetSaveScriptName, pbstrVal);
}

STDMETHODIMP CSavedDocument::get_RestoreScriptName(BSTR* pbstrVal) {
    return CopyText(&CInternalSavedDocument::GetRestoreScriptName, pbstrVal);
}
