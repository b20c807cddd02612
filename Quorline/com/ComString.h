#pragma once

// Strings that cross a COM boundary.

#include <atlcomcli.h>

#include <string>

/// The text whole, with the zeros that it may hold. Throws CAtlException with E_OUTOFMEMORY.
inline ATL::CComBSTR CopyToBstr(const std::wstring& text) {
    return {static_cast<int>(text.size()), text.c_str()};
}

/// Reads a string property into value; a null string reads as empty. On failure returns the property's HRESULT and
/// leaves value as it was.
template <class Interface>
HRESULT ReadStringProperty(Interface* object, HRESULT (STDMETHODCALLTYPE Interface::*getter)(BSTR*),
                           std::wstring& value) {
    ATL::CComBSTR text;
    const HRESULT hr = (object->*getter)(&text);
    if (SUCCEEDED(hr))
        value.assign(!text ? L"" : static_cast<BSTR>(text), text.Length());
    return hr;
}
