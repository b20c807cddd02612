#pragma once

// What scripts see as "Process": one running process of a protected application and its visible top-level windows.

#include "HostInterfaces.h"

#include <atlbase.h>
#include <atlcom.h>

#include <string>

class CProcess : public CComObjectRootEx<CComSingleThreadModel>,
                 public IDispatchImpl<IProcess, &IID_IProcess, &LIBID_TalvinorSessionLib, 1, 0> {
public:
    BEGIN_COM_MAP(CProcess)
    COM_INTERFACE_ENTRY(IProcess)
    COM_INTERFACE_ENTRY(IDispatch)
    END_COM_MAP()

    /// Full path of a process's executable; empty when the process is gone or may not be looked into.
    static std::wstring ReadPath(DWORD processId);

    static HRESULT Create(DWORD processId, const std::wstring& path, IDispatch** ppProcess);

    STDMETHOD(get_Id)(long* pId) override;
    STDMETHOD(get_ImageName)(BSTR* pName) override;
    STDMETHOD(get_Path)(BSTR* pPath) override;
    STDMETHOD(get_Windows)(IProcessWindows** ppWindows) override;

private:
    DWORD m_id = 0;
    std::wstring m_path;
};
