#include "Session.h"

#include "ComResult.h"
#include "Process.h"

#include <array>

STDMETHODIMP CSession::get_UserName(BSTR* pName) {
    std::array<wchar_t, 257> name{};
    DWORD size = static_cast<DWORD>(name.size());
    if (pName == nullptr)
        return E_POINTER;
    if (!GetUserNameW(name.data(), &size))
        return HRESULT_FROM_WIN32(GetLastError());
    return ReturnText(name.data(), pName);
}

STDMETHODIMP CSession::get_ComputerName(BSTR* pName) {
    std::array<wchar_t, MAX_COMPUTERNAME_LENGTH + 1> name{};
    DWORD size = static_cast<DWORD>(name.size());
    if (pName == nullptr)
        return E_POINTER;
    if (!GetComputerNameW(name.data(), &size))
        return HRESULT_FROM_WIN32(GetLastError());
    return ReturnText(name.data(), pName);
}

STDMETHODIMP CSession::get_SessionId(long* pId) {
    if (pId == nullptr)
        return E_POINTER;
    DWORD id = 0;
    if (!ProcessIdToSessionId(GetCurrentProcessId(), &id))
        return HRESULT_FROM_WIN32(GetLastError());
    *pId = static_cast<long>(id);
    return S_OK;
}

STDMETHODIMP CSession::get_IsRemote(VARIANT_BOOL* pRemote) {
    if (pRemote == nullptr)
        return E_POINTER;
    *pRemote = GetSystemMetrics(SM_REMOTESESSION) != 0 ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

STDMETHODIMP CSession::GetProcess(unsigned long processId, IDispatch** ppProcess) {
    if (ppProcess == nullptr)
        return E_POINTER;
    *ppProcess = nullptr;
    const std::wstring path = CProcess::ReadPath(processId);
    return path.empty() ? S_OK : CProcess::Create(processId, path, ppProcess);
}
