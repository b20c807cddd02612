#pragma once

// Runs registry scripts (.rgs) from a module's resources through the system's registrar object. The calling thread must
// have entered an apartment. A script that is not terminated hangs the registrar: keep them under test.

#include "atlcomcli.h"

#include <string>
#include <vector>

/// The system's registrar, which no header of the compiler declares.
struct DECLSPEC_NOVTABLE IRegistrar : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE AddReplacement(LPCOLESTR key, LPCOLESTR item) = 0;
    virtual HRESULT STDMETHODCALLTYPE ClearReplacements() = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceRegisterSz(LPCOLESTR file, LPCOLESTR id, LPCOLESTR type) = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceUnregisterSz(LPCOLESTR file, LPCOLESTR id, LPCOLESTR type) = 0;
    virtual HRESULT STDMETHODCALLTYPE FileRegister(LPCOLESTR file) = 0;
    virtual HRESULT STDMETHODCALLTYPE FileUnregister(LPCOLESTR file) = 0;
    virtual HRESULT STDMETHODCALLTYPE StringRegister(LPCOLESTR script) = 0;
    virtual HRESULT STDMETHODCALLTYPE StringUnregister(LPCOLESTR script) = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceRegister(LPCOLESTR file, UINT id, LPCOLESTR type) = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceUnregister(LPCOLESTR file, UINT id, LPCOLESTR type) = 0;
};

#ifdef __CRT_UUID_DECL
__CRT_UUID_DECL(IRegistrar, 0x44ec053b, 0x400f, 0x11d0, 0x9d, 0xcd, 0x00, 0xa0, 0xc9, 0x03, 0x91, 0xd3)
#endif

namespace ATL {

inline constexpr CLSID CLSID_Registrar = {0x44ec053a, 0x400f, 0x11d0, {0x9d, 0xcd, 0x00, 0xa0, 0xc9, 0x03, 0x91, 0xd3}};

/// One replacement: %szKey% in the script becomes szData.
struct _ATL_REGMAP_ENTRY {
    LPCOLESTR szKey;
    LPCOLESTR szData;
};

/// The full path of a module; throws CAtlException.
inline std::wstring AtlGetModuleFileName(HINSTANCE module) {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
        if (length == 0)
            AtlThrowLastWin32();
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        path.resize(path.size() * 2);
    }
}

/// Runs the "REGISTRY" resource of a module, forwards or backwards. %MODULE% is the module's path.
inline HRESULT AtlUpdateRegistryFromResource(HINSTANCE module, UINT resourceId, bool registering,
                                             const std::vector<_ATL_REGMAP_ENTRY>& replacements) {
    CComPtr<IRegistrar> registrar;
    HRESULT hr = registrar.CoCreateInstance(CLSID_Registrar, nullptr, CLSCTX_INPROC_SERVER);
    if (FAILED(hr))
        return hr;

    const std::wstring file = AtlGetModuleFileName(module);
    // Scripts put the path in single quotes; one inside it is written twice.
    std::wstring quoted;
    for (const wchar_t c : file)
        quoted.append(c == L'\'' ? 2 : 1, c);
    hr = registrar->AddReplacement(L"MODULE", quoted.c_str());
    for (const _ATL_REGMAP_ENTRY& entry : replacements) {
        if (SUCCEEDED(hr))
            hr = registrar->AddReplacement(entry.szKey, entry.szData);
    }
    if (FAILED(hr))
        return hr;
    return registering ? registrar->ResourceRegister(file.c_str(), resourceId, L"REGISTRY")
                       : registrar->ResourceUnregister(file.c_str(), resourceId, L"REGISTRY");
}

} // namespace ATL
