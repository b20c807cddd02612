#pragma once

// The entry points of the proxies and stubs that are merged into a module, as the generated code defines them.

#include <windows.h>

extern "C" {
BOOL WINAPI PrxDllMain(HINSTANCE instance, DWORD reason, void* reserved);
HRESULT STDMETHODCALLTYPE PrxDllGetClassObject(REFCLSID clsid, REFIID iid, void** object);
HRESULT STDMETHODCALLTYPE PrxDllCanUnloadNow();
HRESULT STDMETHODCALLTYPE PrxDllRegisterServer();
HRESULT STDMETHODCALLTYPE PrxDllUnregisterServer();
}
