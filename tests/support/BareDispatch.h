#pragma once

// An automation object with no type library, of which a test writes Invoke alone: every name is member 1.

#include <atlbase.h>
#include <atlcom.h>

template <class Interface> class CBareDispatch : public CComObjectRootEx<CComSingleThreadModel>, public Interface {
public:
    STDMETHODIMP GetTypeInfoCount(UINT* count) override { return *count = 0, S_OK; }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID* ids) override { return *ids = 1, S_OK; }
};
