#pragma once

// What scripts see as "Session": who is logged on where, and the process object of a process identifier.

#include "HostInterfaces.h"
#include "resource.h"

#include <atlbase.h>
#include <atlcom.h>

#include <string>

class CSession : public CComObjectRootEx<CComSingleThreadModel>,
                 public CComCoClass<CSession, &CLSID_Session>,
                 public IDispatchImpl<ISession, &IID_ISession, &LIBID_TalvinorSessionLib, 1, 0>,
                 public ISupportErrorInfoImpl<&IID_ISession> {
public:
    DECLARE_REGISTRY_RESOURCEID(IDR_SESSION)
    DECLARE_NOT_AGGREGATABLE(CSession)

    BEGIN_COM_MAP(CSession)
    COM_INTERFACE_ENTRY(ISession)
    COM_INTERFACE_ENTRY(IDispatch)
    COM_INTERFACE_ENTRY(ISupportErrorInfo)
    END_COM_MAP()

    static const IID& ErrorInterface() noexcept { return IID_ISession; }
    std::wstring Describe() const { return L"the session"; }

    STDMETHOD(get_UserName)(BSTR* pName) override;
    STDMETHOD(get_ComputerName)(BSTR* pName) override;
    STDMETHOD(get_SessionId)(long* pId) override;
    STDMETHOD(get_IsRemote)(VARIANT_BOOL* pRemote) override;

    /// Never null: a process that has ended, perhaps since it was looked for, has an object that says so and has no
    /// windows, so that a script finds nothing to save.
    STDMETHOD(GetProcess)(unsigned long processId, IDispatch** ppProcess) override;
    STDMETHOD(get_IsCheckpoint)(VARIANT_BOOL* pCheckpoint) override;
};
