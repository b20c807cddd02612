#pragma once

// The host's side, as an operation meets it: the announced change, the session class and the proxies of the host's
// interfaces.

#include "BareDispatch.h"
#include "ClassObject.h"
#include "ScriptExecution/StateChangeTypes.h"

#include "HostInterfaces.h"

#include <atlbase.h>
#include <atlcom.h>

#include <vector>

#include "com/ProxyEntryPoints.h"

/// The announced change, whose answers a test chooses.
class CChange : public CComObjectRootEx<CComMultiThreadModel>, public IStateChangeInstance {
public:
    BEGIN_COM_MAP(CChange)
    COM_INTERFACE_ENTRY(IStateChangeInstance)
    END_COM_MAP()

    STDMETHODIMP get_NewState(long* state) override {
        *state = static_cast<long>(newState);
        return stateResult;
    }
    STDMETHODIMP get_Invoker(long*) override { return E_NOTIMPL; }
    STDMETHODIMP get_Flags(long*) override { return E_NOTIMPL; }
    STDMETHODIMP get_Timestamp(hyper*) override { return E_NOTIMPL; }
    STDMETHODIMP get_Vetoed(VARIANT_BOOL* value) override {
        *value = vetoed;
        return S_OK;
    }
    STDMETHODIMP put_Vetoed(VARIANT_BOOL value) override {
        vetoed = value;
        return vetoResult;
    }

    _STATE_CHANGE_TYPE newState = Hibernate;
    HRESULT stateResult = S_OK;
    HRESULT vetoResult = S_OK;
    VARIANT_BOOL vetoed = VARIANT_FALSE;
};

/// An automation object that is a number to scripts.
template <class Interface> class CNumberObject : public CBareDispatch<Interface> {
public:
    STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT* result, EXCEPINFO*, UINT*) override {
        if (result) {
            V_VT(result) = VT_I4;
            V_I4(result) = number;
        }
        return S_OK;
    }
    long number = 7;
};

/// What scripts see as "Process": every property is the process identifier.
class CProcessObject : public CNumberObject<IDispatch> {
public:
    BEGIN_COM_MAP(CProcessObject)
    COM_INTERFACE_ENTRY(IDispatch)
    END_COM_MAP()
};

/// The host's session class for the apartment of the test.
class CSessionObject : public CNumberObject<ISession> {
public:
    BEGIN_COM_MAP(CSessionObject)
    COM_INTERFACE_ENTRY(ISession)
    COM_INTERFACE_ENTRY(IDispatch)
    END_COM_MAP()

    STDMETHODIMP get_UserName(BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP get_ComputerName(BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP get_SessionId(long*) override { return E_NOTIMPL; }
    STDMETHODIMP get_IsRemote(VARIANT_BOOL*) override { return E_NOTIMPL; }
    STDMETHODIMP get_IsCheckpoint(VARIANT_BOOL*) override { return E_NOTIMPL; }
    STDMETHODIMP GetProcess(unsigned long processId, IDispatch** process) override {
        asked.push_back(processId);
        *process = nullptr;
        if (!knowsProcesses)
            return S_OK;
        CComObjectNoLock<CProcessObject>* created = nullptr;
        CComObjectNoLock<CProcessObject>::CreateInstance(&created);
        created->number = static_cast<long>(processId);
        return CComPtr<IDispatch>(created).CopyTo(process);
    }

    std::vector<unsigned long> asked;
    bool knowsProcesses = true;
};

class CSessionServer {
public:
    CSessionServer() {
        CComObjectNoLock<CSessionObject>* created = nullptr;
        CComObjectNoLock<CSessionObject>::CreateInstance(&created);
        session = created;
    }

    CComPtr<CComObjectNoLock<CSessionObject>> session;

private:
    const CClassObject m_class{CLSID_Session,
                               [this](REFIID iid, void** object) { return session->QueryInterface(iid, object); }};
};

/// The proxies of the host's interfaces, for the apartment of the thread that makes it.
class CHostProxies {
public:
    CHostProxies() {
        CComPtr<IUnknown> factory;
        PrxDllGetClassObject(IID_IStateChangeInstance, IID_IPSFactoryBuffer, reinterpret_cast<void**>(&factory));
        CoRegisterClassObject(IID_IStateChangeInstance, factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                              &m_registration);
        CoRegisterPSClsid(IID_IStateChangeInstance, IID_IStateChangeInstance);
    }
    ~CHostProxies() { CoRevokeClassObject(m_registration); }
    CHostProxies(const CHostProxies&) = delete;
    CHostProxies& operator=(const CHostProxies&) = delete;

private:
    DWORD m_registration = 0;
};
