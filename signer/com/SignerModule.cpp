// QuorlineSigner.dll: the module and its entry points. The class that it serves belongs to the platform; where a
// machine has a signer of its own, registration leaves that one in place.

#include "common/SignerLog.h"
#include "ScriptSigner.h"

#include "base/Text.h"
#include "com/PlatformException.h"

#include <atlbase.h>
#include <atlcom.h>

#include <string>

namespace {

class CSignerModule : public CAtlDllModuleT<CSignerModule> {
public:
    DECLARE_LIBID(LIBID_QuorlineSignerLib)
};
CSignerModule g_module;

/// Empty when there is no such value; what cannot be read stands for something that is somebody else's.
std::wstring ReadDefault(const std::wstring& key) {
    wchar_t value[2 * MAX_PATH] = L"";
    DWORD size = sizeof value;
    const LSTATUS status = RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, value, &size);
    if (status == ERROR_FILE_NOT_FOUND)
        return {};
    return status == ERROR_SUCCESS ? value : L"(unreadable)";
}

/// What serves the class now; empty when nothing does.
std::wstring RegisteredServer() {
    wchar_t clsid[40];
    StringFromGUID2(CLSID_ScriptSigner, clsid, static_cast<int>(std::size(clsid)));
    for (const wchar_t* const kind : {L"\\InprocServer32", L"\\LocalServer32"}) {
        std::wstring server = ReadDefault(std::wstring(L"CLSID\\") + clsid + kind);
        if (!server.empty())
            return server;
    }
    return {};
}

/// One spelling of a path, for comparing; a file that does not exist keeps its own.
std::wstring LongPath(std::wstring path) {
    if (path.size() > 2 && path.front() == L'"' && path.back() == L'"')
        path = path.substr(1, path.size() - 2);
    wchar_t buffer[2 * MAX_PATH];
    const DWORD length = GetLongPathNameW(path.c_str(), buffer, static_cast<DWORD>(std::size(buffer)));
    return length > 0 && length < std::size(buffer) ? std::wstring(buffer) : path;
}

bool IsThisModule(const std::wstring& server) {
    const std::wstring own = AtlGetModuleFileName(_AtlBaseModule.GetModuleInstance());
    return SameText(LongPath(server), LongPath(own));
}

template <class Action> HRESULT Guard(Action action) noexcept {
    try {
        return action();
    } catch (...) {
        return HResultOfPlatformException();
    }
}

} // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void*) {
    if (reason == DLL_PROCESS_ATTACH)
        DisableThreadLibraryCalls(instance);
    return TRUE;
}

STDAPI DllCanUnloadNow() {
    return g_module.DllCanUnloadNow();
}

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** object) {
    return g_module.DllGetClassObject(clsid, iid, object);
}

/// ERROR_ALREADY_EXISTS as an HRESULT when another signer is registered.
STDAPI DllRegisterServer() {
    return Guard([] {
        const std::wstring server = RegisteredServer();
        if (!server.empty() && !IsThisModule(server)) {
            LogRegistration(log4cxx::Level::getWarn(),
                            L"Not registered: this machine has a script signer already, '" + server + L"'");
            return HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS);
        }
        return g_module.DllRegisterServer();
    });
}

/// S_FALSE when nothing, or another signer, is registered: that stays.
STDAPI DllUnregisterServer() {
    return Guard([] {
        const std::wstring server = RegisteredServer();
        if (server.empty())
            return S_FALSE;
        if (!IsThisModule(server)) {
            LogRegistration(log4cxx::Level::getWarn(),
                            L"Nothing unregistered: this machine's script signer is '" + server + L"'");
            return S_FALSE;
        }
        return g_module.DllUnregisterServer();
    });
}
