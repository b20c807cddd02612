#include "ScriptExecution/TalvinorClientScriptSite.h"

#include "ScriptExecution/ScriptRunner.h"
#include "com/ExceptionInfo.h"
#include "logging/ClassLog.h"

#include <exception>

namespace {

std::wstring TextOf(BSTR text) {
    return text != nullptr ? text : L"";
}

} // namespace

STDMETHODIMP CTalvinorClientScriptSite::GetLCID(LCID*) {
    return E_NOTIMPL;
}

STDMETHODIMP CTalvinorClientScriptSite::GetItemInfo(LPCOLESTR name, DWORD mask, IUnknown** item,
                                                    ITypeInfo** typeInfo) try {
    IUnknown* const object = name != nullptr ? m_pRunner->GetNamedItem(name) : nullptr;
    if (object == nullptr)
        return TYPE_E_ELEMENTNOTFOUND;
    if ((mask & SCRIPTINFO_IUNKNOWN) != 0) {
        object->AddRef();
        *item = object;
    }
    // Without type information the engine asks the object itself.
    if ((mask & SCRIPTINFO_ITYPEINFO) != 0)
        *typeInfo = nullptr;
    return S_OK;
} catch (const std::exception&) {
    return E_OUTOFMEMORY;
}

STDMETHODIMP CTalvinorClientScriptSite::GetDocVersionString(BSTR*) {
    return E_NOTIMPL;
}

STDMETHODIMP CTalvinorClientScriptSite::OnScriptTerminate(const VARIANT*, const EXCEPINFO*) {
    return E_NOTIMPL;
}

STDMETHODIMP CTalvinorClientScriptSite::OnStateChange(SCRIPTSTATE) {
    return E_NOTIMPL;
}

STDMETHODIMP CTalvinorClientScriptSite::OnScriptError(IActiveScriptError* error) try {
    if (error == nullptr)
        return E_INVALIDARG;
    CExceptionInfo info;
    const HRESULT known = error->GetExceptionInfo(&info);
    if (FAILED(known))
        return known;
    DWORD context = 0;
    ULONG line = 0;
    LONG character = 0;
    const HRESULT located = error->GetSourcePosition(&context, &line, &character);

    m_errorNumber = info.scode != 0 ? static_cast<unsigned long>(info.scode) : info.wCode;
    std::wstring source = TextOf(info.bstrSource);
    std::wstring description = TextOf(info.bstrDescription);
    m_pRunner->SetErrorInfo(source, description, line, character);
    Log(log4cxx::Level::getError(),
        L"Scripting error: Source = {0:%s}, Description = {1:%s}, Line = {2:%lu}, Char = {3:%ld}", source.c_str(),
        description.c_str(), line, character);
    return located;
} catch (const std::exception&) {
    return E_OUTOFMEMORY;
}

STDMETHODIMP CTalvinorClientScriptSite::OnEnterScript() {
    return E_NOTIMPL;
}

STDMETHODIMP CTalvinorClientScriptSite::OnLeaveScript() {
    return E_NOTIMPL;
}

QUORLINE_CLASS_LOG(CTalvinorClientScriptSite, L"ScriptExecution.TalvinorClientScriptSite")
