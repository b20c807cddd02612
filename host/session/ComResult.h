#pragma once

// The last step of a property of a session object.

#include <windows.h>

#include <oleauto.h>

#include <string>

/// Hands a text to the caller, who frees it with SysFreeString.
inline HRESULT ReturnText(const std::wstring& text, BSTR* result) {
    if (result == nullptr)
        return E_POINTER;
    *result = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    return *result != nullptr ? S_OK : E_OUTOFMEMORY;
}
