// The session server: the session class for scripts, and the proxies of the host's interfaces.

#include "HostInterfaces.h"
#include "Session.h"
#include "com/ProxyEntryPoints.h"
#include "resource.h"

#include <atlbase.h>
#include <atlcom.h>

namespace {
class CSessionHostModule : public CAtlDllModuleT<CSessionHostModule> {
public:
    DECLARE_LIBID(LIBID_TalvinorSessionLib)
    DECLARE_REGISTRY_APPID_RESOURCEID(IDR_SESSIONHOST, "{6F9A3B1C-1D7E-4C58-8B0E-52A4D7C96E35}")
};

CSessionHostModule g_module;
} // namespace

OBJECT_ENTRY_AUTO(CLSID_Session, CSession)

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved) {
    if (reason == DLL_PROCESS_ATTACH)
        DisableThreadLibraryCalls(instance);
    PrxDllMain(instance, reason, reserved);
    return TRUE;
}

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* object) {
    return PrxDllGetClassObject(clsid, iid, object) == S_OK ? S_OK : g_module.DllGetClassObject(clsid, iid, object);
}

STDAPI DllCanUnloadNow() {
    return PrxDllCanUnloadNow() == S_OK ? g_module.DllCanUnloadNow() : S_FALSE;
}

STDAPI DllRegisterServer() {
    const HRESULT hr = g_module.DllRegisterServer();
    return FAILED(hr) ? hr : PrxDllRegisterServer();
}

STDAPI DllUnregisterServer() {
    const HRESULT hr = g_module.DllUnregisterServer();
    return FAILED(hr) ? hr : PrxDllUnregisterServer();
}
