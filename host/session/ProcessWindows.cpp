#include "ProcessWindows.h"

#include "ProcessWindow.h"
#include "VariantEnumerator.h"

namespace {
struct CWindowSearch {
    DWORD processId;
    std::vector<HWND> found;
};

BOOL CALLBACK CollectWindow(HWND window, LPARAM context) {
    auto& search = *reinterpret_cast<CWindowSearch*>(context);
    DWORD owner = 0;
    GetWindowThreadProcessId(window, &owner);
    if (owner == search.processId && IsWindowVisible(window))
        search.found.push_back(window);
    return TRUE;
}
} // namespace

HRESULT CProcessWindows::Create(DWORD processId, IProcessWindows** ppWindows) {
    CWindowSearch search{processId, {}};
    if (!EnumWindows(CollectWindow, reinterpret_cast<LPARAM>(&search)))
        return HRESULT_FROM_WIN32(GetLastError());

    CComObject<CProcessWindows>* object = nullptr;
    HRESULT hr = CComObject<CProcessWindows>::CreateInstance(&object);
    if (FAILED(hr))
        return hr;
    const CComPtr<IProcessWindows> owner(object);
    for (HWND window : search.found) {
        CComPtr<IProcessWindow> item;
        hr = CProcessWindow::Create(window, &item);
        if (FAILED(hr))
            return hr;
        object->m_windows.push_back(item);
    }
    return owner.CopyTo(ppWindows);
}

STDMETHODIMP CProcessWindows::get_Item(long index, IProcessWindow** ppWindow) {
    if (ppWindow == nullptr)
        return E_POINTER;
    *ppWindow = nullptr;
    if (index < 0 || static_cast<std::size_t>(index) >= m_windows.size())
        return E_INVALIDARG;
    return m_windows[static_cast<std::size_t>(index)].CopyTo(ppWindow);
}

STDMETHODIMP CProcessWindows::get_Count(long* pCount) {
    if (pCount == nullptr)
        return E_POINTER;
    *pCount = static_cast<long>(m_windows.size());
    return S_OK;
}

STDMETHODIMP CProcessWindows::get__NewEnum(IUnknown** ppEnum) {
    if (ppEnum == nullptr)
        return E_POINTER;
    std::vector<CComPtr<IDispatch>> items(m_windows.begin(), m_windows.end());
    return CVariantEnumerator::Create(std::move(items), 0, ppEnum);
}
