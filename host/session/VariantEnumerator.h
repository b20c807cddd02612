#pragma once

// A For Each enumerator over a fixed list of objects.

#include <windows.h>

#include <atlbase.h>
#include <atlcom.h>

#include <string>
#include <vector>

class CVariantEnumerator : public CComObjectRootEx<CComSingleThreadModel>,
                           public IEnumVARIANT,
                           public ISupportErrorInfoImpl<&IID_IEnumVARIANT> {
public:
    BEGIN_COM_MAP(CVariantEnumerator)
    COM_INTERFACE_ENTRY(IEnumVARIANT)
    COM_INTERFACE_ENTRY(ISupportErrorInfo)
    END_COM_MAP()

    /// Starts at position; the enumerator keeps a reference on every item.
    static CComPtr<IUnknown> Create(std::vector<CComPtr<IDispatch>> items, std::size_t position);

    static const IID& ErrorInterface() noexcept { return IID_IEnumVARIANT; }
    std::wstring Describe() const { return L"the windows' enumerator"; }

    STDMETHOD(Next)(ULONG count, VARIANT* items, ULONG* fetched) override;
    STDMETHOD(Skip)(ULONG count) override;
    STDMETHOD(Reset)() override;
    STDMETHOD(Clone)(IEnumVARIANT** ppEnum) override;

private:
    std::vector<CComPtr<IDispatch>> m_items;
    std::size_t m_position = 0;
};
