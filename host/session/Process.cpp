#include "Process.h"

#include "ComResult.h"
#include "Common/UniqueHandle.h"
#include "ProcessWindows.h"

#include <psapi.h>

#include <vector>

std::wstring CProcess::ReadPath(DWORD processId) {
    const CUniqueHandle process(OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, processId));
    if (!process)
        return {};
    std::vector<wchar_t> path(32768);
    const DWORD length = GetModuleFileNameExW(process.Get(), nullptr, path.data(), static_cast<DWORD>(path.size()));
    return std::wstring(path.data(), length);
}

HRESULT CProcess::Create(DWORD processId, const std::wstring& path, IDispatch** ppProcess) {
    CComObject<CProcess>* object = nullptr;
    const HRESULT hr = CComObject<CProcess>::CreateInstance(&object);
    if (FAILED(hr))
        return hr;
    const CComPtr<IProcess> owner(object);
    object->m_id = processId;
    object->m_path = path;
    return owner->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(ppProcess));
}

STDMETHODIMP CProcess::get_Id(long* pId) {
    if (pId == nullptr)
        return E_POINTER;
    *pId = static_cast<long>(m_id);
    return S_OK;
}

STDMETHODIMP CProcess::get_ImageName(BSTR* pName) {
    return ReturnText(m_path.substr(m_path.find_last_of(L'\\') + 1), pName);
}

STDMETHODIMP CProcess::get_Path(BSTR* pPath) {
    return ReturnText(m_path, pPath);
}

STDMETHODIMP CProcess::get_Windows(IProcessWindows** ppWindows) {
    return ppWindows == nullptr ? E_POINTER : CProcessWindows::Create(m_id, ppWindows);
}
