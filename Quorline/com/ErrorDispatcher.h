#pragma once

// Error information for scripts. An automation class that derives from it ends a failed method with
//
//     return Error(hr);
//
// and the engine shows the description.

#include <windows.h>

#include <string>

/// Installs the calling thread's error information for a failed call of this interface. Without a description a Win32
/// code gets the system's text. Returns hr; or, when the system has no text for its code, the failure of that lookup.
/// Does nothing for a code that is no failure. Null texts are left out.
HRESULT DispatchError(REFIID iid, HRESULT hr, const char* source, const char* description, DWORD helpContext,
                      const char* helpFile) noexcept;

/// The same with a description that may hold any character, which is taken as it is; no source and no help.
HRESULT DispatchError(REFIID iid, HRESULT hr, const std::wstring& description) noexcept;

template <const IID* piid> class CErrorDispatcher {
protected:
    ~CErrorDispatcher() = default;

    static HRESULT Error(HRESULT hr, const char* source = nullptr, const char* description = nullptr,
                         DWORD helpContext = 0, const char* helpFile = nullptr) noexcept {
        return DispatchError(*piid, hr, source, description, helpContext, helpFile);
    }
    static HRESULT Error(HRESULT hr, const std::wstring& description) noexcept {
        return DispatchError(*piid, hr, description);
    }
};
