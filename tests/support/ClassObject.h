#pragma once

// A class of the calling thread's apartment while this lives:
//
//     const CClassObject engine(CLSID_Engine, [&](REFIID iid, void** object) { return Make(iid, object); });

#include <atlbase.h>
#include <atlcom.h>

#include <functional>
#include <stdexcept>
#include <utility>

class CClassObject {
public:
    using CCreate = std::function<HRESULT(REFIID, void**)>;

    CClassObject(const CLSID& id, CCreate create) {
        CComObjectNoLock<CFactory>* made = nullptr;
        if (FAILED(CComObjectNoLock<CFactory>::CreateInstance(&made)))
            throw std::bad_alloc();
        const CComPtr<IClassFactory> factory(made);
        made->create = std::move(create);
        if (FAILED(CoRegisterClassObject(id, factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &m_registration)))
            throw std::runtime_error("a test's class was not registered");
    }
    ~CClassObject() { CoRevokeClassObject(m_registration); }
    CClassObject(const CClassObject&) = delete;
    CClassObject& operator=(const CClassObject&) = delete;

private:
    class CFactory : public CComObjectRootEx<CComSingleThreadModel>, public IClassFactory {
    public:
        BEGIN_COM_MAP(CFactory)
        COM_INTERFACE_ENTRY(IClassFactory)
        END_COM_MAP()

        STDMETHODIMP CreateInstance(IUnknown*, REFIID iid, void** object) override { return create(iid, object); }
        STDMETHODIMP LockServer(BOOL) override { return S_OK; }

        CCreate create;
    };

    DWORD m_registration = 0;
};
