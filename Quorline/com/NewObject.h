#pragma once

// A new COM object of a class, held by the one reference that it has.

#include <atlbase.h>
#include <atlcom.h>

template <class T> HRESULT MakeObject(ATL::CComPtr<ATL::CComObject<T>>& object) noexcept {
    ATL::CComObject<T>* made = nullptr;
    const HRESULT hr = ATL::CComObject<T>::CreateInstance(&made);
    object = made;
    return hr;
}

/// Throws CAtlException when it cannot be made.
template <class T> ATL::CComPtr<ATL::CComObject<T>> NewObject() {
    ATL::CComPtr<ATL::CComObject<T>> object;
    if (const HRESULT hr = MakeObject(object); FAILED(hr))
        AtlThrow(hr);
    return object;
}
