#pragma once

// A new COM object of a class, with the one reference that is returned. Throws CAtlException when it cannot be made.

#include <atlbase.h>
#include <atlcom.h>

template <class T> CComPtr<CComObject<T>> NewObject() {
    CComObject<T>* object = nullptr;
    const HRESULT hr = CComObject<T>::CreateInstance(&object);
    if (FAILED(hr))
        AtlThrow(hr);
    return CComPtr<CComObject<T>>(object);
}
