#pragma once

// The visible top-level windows of one process, as they were when the collection was asked for. Zero-based; scripts
// may count through it or use For Each.

#include "HostInterfaces.h"
#include "TargetProcess.h"

#include <atlbase.h>
#include <atlcom.h>

#include <memory>
#include <vector>

class CProcessWindows : public CComObjectRootEx<CComSingleThreadModel>,
                        public IDispatchImpl<IProcessWindows, &IID_IProcessWindows, &LIBID_TalvinorSessionLib, 1, 0>,
                        public ISupportErrorInfoImpl<&IID_IProcessWindows> {
public:
    BEGIN_COM_MAP(CProcessWindows)
    COM_INTERFACE_ENTRY(IProcessWindows)
    COM_INTERFACE_ENTRY(IDispatch)
    COM_INTERFACE_ENTRY(ISupportErrorInfo)
    END_COM_MAP()

    static CComPtr<IProcessWindows> Create(const std::shared_ptr<CTargetProcess>& target);

    static const IID& ErrorInterface() noexcept { return IID_IProcessWindows; }
    std::wstring Describe() const { return m_target->Describe(); }

    /// E_INVALIDARG for an index at or above the count.
    STDMETHOD(get_Item)(long index, IProcessWindow** ppWindow) override;
    STDMETHOD(get_Count)(long* pCount) override;
    STDMETHOD(get__NewEnum)(IUnknown** ppEnum) override;

private:
    std::shared_ptr<CTargetProcess> m_target;
    std::vector<CComPtr<IProcessWindow>> m_windows;
};
