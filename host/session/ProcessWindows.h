#pragma once

// The visible top-level windows of one process, as they were when the collection was asked for. Zero-based; scripts
// may count through it or use For Each.

#include "HostInterfaces.h"

#include <atlbase.h>
#include <atlcom.h>

#include <vector>

class CProcessWindows : public CComObjectRootEx<CComSingleThreadModel>,
                        public IDispatchImpl<IProcessWindows, &IID_IProcessWindows, &LIBID_TalvinorSessionLib, 1, 0> {
public:
    BEGIN_COM_MAP(CProcessWindows)
    COM_INTERFACE_ENTRY(IProcessWindows)
    COM_INTERFACE_ENTRY(IDispatch)
    END_COM_MAP()

    static HRESULT Create(DWORD processId, IProcessWindows** ppWindows);

    /// E_INVALIDARG for an index at or above the count.
    STDMETHOD(get_Item)(long index, IProcessWindow** ppWindow) override;
    STDMETHOD(get_Count)(long* pCount) override;
    STDMETHOD(get__NewEnum)(IUnknown** ppEnum) override;

private:
    std::vector<CComPtr<IProcessWindow>> m_windows;
};
