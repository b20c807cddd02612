#include "VariantEnumerator.h"

#include <algorithm>

HRESULT CVariantEnumerator::Create(std::vector<CComPtr<IDispatch>> items, std::size_t position, IUnknown** ppEnum) {
    CComObject<CVariantEnumerator>* object = nullptr;
    const HRESULT hr = CComObject<CVariantEnumerator>::CreateInstance(&object);
    if (FAILED(hr))
        return hr;
    const CComPtr<IEnumVARIANT> owner(object);
    object->m_items = std::move(items);
    object->m_position = position;
    return owner->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(ppEnum));
}

STDMETHODIMP CVariantEnumerator::Next(ULONG count, VARIANT* items, ULONG* fetched) {
    if (items == nullptr || (fetched == nullptr && count != 1))
        return E_POINTER;
    const auto given = static_cast<ULONG>(std::min<std::size_t>(count, m_items.size() - m_position));
    for (ULONG i = 0; i < given; ++i) {
        items[i].vt = VT_DISPATCH;
        items[i].pdispVal = CComPtr<IDispatch>(m_items[m_position++]).Detach();
    }
    if (fetched != nullptr)
        *fetched = given;
    return given == count ? S_OK : S_FALSE;
}

STDMETHODIMP CVariantEnumerator::Skip(ULONG count) {
    const auto skipped = std::min<std::size_t>(count, m_items.size() - m_position);
    m_position += skipped;
    return skipped == count ? S_OK : S_FALSE;
}

STDMETHODIMP CVariantEnumerator::Reset() {
    m_position = 0;
    return S_OK;
}

STDMETHODIMP CVariantEnumerator::Clone(IEnumVARIANT** ppEnum) {
    if (ppEnum == nullptr)
        return E_POINTER;
    *ppEnum = nullptr;
    CComPtr<IUnknown> copy;
    const HRESULT hr = Create(m_items, m_position, &copy);
    return FAILED(hr) ? hr : copy->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(ppEnum));
}
