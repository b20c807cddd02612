#pragma once

// Strings that cross a COM boundary.

#include "base/UniqueHandle.h"

#include <windows.h>

#include <oleauto.h>

#include <string>

using CUniqueBstr = CUnique<CNullableTraits<BSTR, &SysFreeString>>;

/// Reads a string property into value; a null string reads as empty. On failure returns the property's HRESULT and
/// leaves value as it was.
template <class Interface>
HRESULT ReadStringProperty(Interface* object, HRESULT (STDMETHODCALLTYPE Interface::*getter)(BSTR*),
                           std::wstring& value) {
    CUniqueBstr text;
    const HRESULT hr = (object->*getter)(text.Put());
    if (SUCCEEDED(hr))
        value.assign(text ? text.Get() : L"", SysStringLen(text.Get()));
    return hr;
}
