#pragma once

// One top-level window of a protected process.

#include "HostInterfaces.h"
#include "TargetProcess.h"

#include <atlbase.h>
#include <atlcom.h>

#include <memory>

class CProcessWindow : public CComObjectRootEx<CComSingleThreadModel>,
                       public IDispatchImpl<IProcessWindow, &IID_IProcessWindow, &LIBID_TalvinorSessionLib, 1, 0>,
                       public ISupportErrorInfoImpl<&IID_IProcessWindow> {
public:
    BEGIN_COM_MAP(CProcessWindow)
    COM_INTERFACE_ENTRY(IProcessWindow)
    COM_INTERFACE_ENTRY(IDispatch)
    COM_INTERFACE_ENTRY(ISupportErrorInfo)
    END_COM_MAP()

    static CComPtr<IProcessWindow> Create(const std::shared_ptr<CTargetProcess>& target, HWND window);

    static const IID& ErrorInterface() noexcept { return IID_IProcessWindow; }
    /// "window 0x1005e of process 412 (notepad.exe)"
    std::wstring Describe() const;

    STDMETHOD(get_Handle)(long* pHandle) override;

    /// The whole title or text, up to 16 M characters. It fails when the window is gone or does not answer, so that a
    /// script never mistakes a hung application's text for an empty one; all windows of a process share 10 seconds.
    STDMETHOD(get_Title)(BSTR* pTitle) override;
    STDMETHOD(get_Text)(BSTR* pText) override;

    /// Empty for a window that is gone.
    STDMETHOD(get_ClassName)(BSTR* pClassName) override;
    /// False for a window that is gone.
    STDMETHOD(get_Visible)(VARIANT_BOOL* pVisible) override;

private:
    /// Fails when the window is gone.
    void RequireWindow() const;

    std::shared_ptr<CTargetProcess> m_target;
    HWND m_window = nullptr;
};
