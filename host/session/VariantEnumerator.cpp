#include "VariantEnumerator.h"

#include "SessionError.h"
#include "com/NewObject.h"

#include <algorithm>

CComPtr<IUnknown> CVariantEnumerator::Create(std::vector<CComPtr<IDispatch>> items, std::size_t position) {
    const auto object = NewObject<CVariantEnumerator>();
    object->m_items = std::move(items);
    object->m_position = position;
    return CComPtr<IUnknown>(static_cast<IEnumVARIANT*>(object));
}

STDMETHODIMP CVariantEnumerator::Next(ULONG count, VARIANT* items, ULONG* fetched) {
    return Guarded(*this, L"Next", [&] {
        if (fetched != nullptr)
            *fetched = 0;
        if ((items == nullptr && count != 0) || (fetched == nullptr && count != 1))
            throw CSessionError(E_POINTER, L"there is no place for the answer");
        const auto given = static_cast<ULONG>(std::min<std::size_t>(count, m_items.size() - m_position));
        for (ULONG i = 0; i < given; ++i) {
            items[i].vt = VT_DISPATCH;
            items[i].pdispVal = CComPtr<IDispatch>(m_items[m_position++]).Detach();
        }
        if (fetched != nullptr)
            *fetched = given;
        return given == count ? S_OK : S_FALSE;
    });
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
    return Answer(*this, L"Clone", ppEnum,
                  [&] { return CComPtr<IEnumVARIANT>(CComQIPtr<IEnumVARIANT>(Create(m_items, m_position))); });
}
