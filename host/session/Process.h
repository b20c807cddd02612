#pragma once

// What scripts see as "Process": one running process of a protected application and its visible top-level windows. One
// that ended before its script's turn is there as well: it says so, and has no windows.

#include "HostInterfaces.h"
#include "TargetProcess.h"

#include <atlbase.h>
#include <atlcom.h>

#include <memory>

class CProcess : public CComObjectRootEx<CComSingleThreadModel>,
                 public IDispatchImpl<IProcess, &IID_IProcess, &LIBID_TalvinorSessionLib, 1, 0>,
                 public ISupportErrorInfoImpl<&IID_IProcess> {
public:
    BEGIN_COM_MAP(CProcess)
    COM_INTERFACE_ENTRY(IProcess)
    COM_INTERFACE_ENTRY(IDispatch)
    COM_INTERFACE_ENTRY(ISupportErrorInfo)
    END_COM_MAP()

    static CComPtr<IDispatch> Create(std::shared_ptr<CTargetProcess> target);

    static const IID& ErrorInterface() noexcept { return IID_IProcess; }
    std::wstring Describe() const { return m_target->Describe(); }

    STDMETHOD(get_Id)(long* pId) override;
    STDMETHOD(get_ImageName)(BSTR* pName) override;
    STDMETHOD(get_Path)(BSTR* pPath) override;
    STDMETHOD(get_Windows)(IProcessWindows** ppWindows) override;
    STDMETHOD(get_HasExited)(VARIANT_BOOL* pExited) override;

private:
    std::shared_ptr<CTargetProcess> m_target;
};
