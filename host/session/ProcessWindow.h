#pragma once

// One top-level window of a protected process.

#include "HostInterfaces.h"

#include <atlbase.h>
#include <atlcom.h>

class CProcessWindow : public CComObjectRootEx<CComSingleThreadModel>,
                       public IDispatchImpl<IProcessWindow, &IID_IProcessWindow, &LIBID_TalvinorSessionLib, 1, 0> {
public:
    BEGIN_COM_MAP(CProcessWindow)
    COM_INTERFACE_ENTRY(IProcessWindow)
    COM_INTERFACE_ENTRY(IDispatch)
    END_COM_MAP()

    static HRESULT Create(HWND window, IProcessWindow** ppWindow);

    STDMETHOD(get_Handle)(long* pHandle) override;
    STDMETHOD(get_Title)(BSTR* pTitle) override;
    STDMETHOD(get_ClassName)(BSTR* pClassName) override;

    /// The whole text, whatever its length. A window that does not answer in 10 seconds fails with a time-out, so that
    /// a script never mistakes a hung application's text for an empty one.
    STDMETHOD(get_Text)(BSTR* pText) override;
    STDMETHOD(get_Visible)(VARIANT_BOOL* pVisible) override;

private:
    HWND m_window = nullptr;
};
