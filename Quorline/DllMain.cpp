// Quorline.dll: what happens when it is loaded, and its four entry points. The proxies and stubs of the automation
// interfaces are merged into the module; their own entry points carry the prefix Prx.

#include "IntlHelper/CultureHelper.h"
#include "QuorlineModule.h"
#include "com/ProxyEntryPoints.h"
#include "config/LogSettingsReader.h"
#include "logging/Log4cxxConfig.h"

#include <log4cxx/ndc.h>

namespace {

/// The module object itself is made before this, with the other static objects.
bool AttachProcess(HINSTANCE instance, void* reserved) noexcept {
    try {
        PrxDllMain(instance, DLL_PROCESS_ATTACH, reserved);
        CLog4cxxConfig::GetInstance().Configure(SessionComponent, false, &ReadLogSettings);
        CCultureHelper::InitInstance(instance, nullptr);
        return true;
    } catch (...) {
        // Nothing may pass the loader; the program is told that the library cannot be loaded.
        return false;
    }
}

/// The nested diagnostic context of a thread is not freed with the thread.
void DetachThread() noexcept {
    try {
        log4cxx::NDC::remove();
    } catch (...) {
        // A thread that ends cannot be told.
    }
}

} // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void* reserved) {
    if (reason == DLL_PROCESS_ATTACH)
        return AttachProcess(instance, reserved);
    if (reason == DLL_THREAD_DETACH)
        DetachThread();
    return TRUE;
}

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** object) {
    if (object == nullptr)
        return E_POINTER;
    const HRESULT hr = PrxDllGetClassObject(clsid, iid, object);
    return SUCCEEDED(hr) ? hr : _AtlModule.DllGetClassObject(clsid, iid, object);
}

STDAPI DllCanUnloadNow() {
    const HRESULT hr = PrxDllCanUnloadNow();
    return hr != S_OK ? hr : _AtlModule.DllCanUnloadNow();
}

STDAPI DllRegisterServer() {
    const HRESULT hr = _AtlModule.DllRegisterServer();
    return FAILED(hr) ? hr : PrxDllRegisterServer();
}

STDAPI DllUnregisterServer() {
    HRESULT hr = _AtlModule.DllUnregisterServer();
    if (SUCCEEDED(hr))
        hr = PrxDllRegisterServer();
    // kept: the proxies are registered once more first, so that removing them always finds something to remove.
    return FAILED(hr) ? hr : PrxDllUnregisterServer();
}
