#include "Components.h"

#include "ExitCode.h"
#include "HostInterfaces.h"
#include "Quorline.h"
#include "ScriptSigner.h"

#include <atlbase.h>

CHostApartment::CHostApartment() {
    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)))
        throw CCommandError(ExitCode::Failed, L"COM could not be initialised.");
}

CHostApartment::~CHostApartment() {
    CoUninitialize();
}

namespace {
[[noreturn]] void Missing(const wchar_t* what, const wchar_t* file) {
    throw CCommandError(ExitCode::NotRegistered,
                        std::wstring(what) + L" is not registered on this machine; run: regsvr32 " + file);
}
} // namespace

void RequireComponents() {
    CComPtr<IClassFactory> store;
    if (FAILED(CoGetClassObject(CLSID_DocumentStore, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                                reinterpret_cast<void**>(&store))))
        Missing(L"the scripting library", L"Quorline.dll");
    CLSID proxy{};
    CComPtr<IClassFactory> session;
    if (FAILED(CoGetPSClsid(IID_IStateChangeInstance, &proxy)) ||
        FAILED(CoGetClassObject(CLSID_Session, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                                reinterpret_cast<void**>(&session))))
        Missing(L"the session server", L"QuorlineHost.dll");
    CComPtr<IClassFactory> signer;
    if (FAILED(CoGetClassObject(CLSID_ScriptSigner, CLSCTX_ALL, nullptr, IID_IClassFactory,
                                reinterpret_cast<void**>(&signer))))
        Missing(L"the script signer", L"QuorlineSigner.dll");
}
