#include "Registration.h"

#include "HostInterfaces.h"
#include "Quorline.h"
#include "ScriptSigner.h"
#include "SystemText.h"

#include <atlbase.h>

namespace {
/// Where COM finds the class: in this process, or in one of its own.
std::wstring ServerOf(REFCLSID id) {
    wchar_t text[40];
    StringFromGUID2(id, text, static_cast<int>(std::size(text)));
    for (const wchar_t* kind : {L"\\InprocServer32", L"\\LocalServer32"}) {
        std::wstring path(32768, L'\0');
        auto size = static_cast<DWORD>(path.size() * sizeof(wchar_t));
        if (RegGetValueW(HKEY_CLASSES_ROOT, (std::wstring(L"CLSID\\") + text + kind).c_str(), nullptr, RRF_RT_REG_SZ,
                         nullptr, path.data(), &size) == ERROR_SUCCESS)
            return path.substr(0, path.find(L'\0'));
    }
    return {};
}

CComponent FindComponent(const wchar_t* what, REFCLSID id, DWORD context) {
    CComponent component{what, ServerOf(id), {}};
    CComPtr<IClassFactory> factory;
    const HRESULT hr = CoGetClassObject(id, context, nullptr, IID_IClassFactory, reinterpret_cast<void**>(&factory));
    // A file that is there and knows nothing of the class answers the same.
    if (hr == REGDB_E_CLASSNOTREG && component.server.empty())
        component.problem = L"is not registered";
    else if (FAILED(hr))
        component.problem = L"is registered, but does not load: " + DescribeCode(static_cast<unsigned long>(hr));
    return component;
}
} // namespace

std::vector<CComponent> FindComponents() {
    std::vector<CComponent> components{
        FindComponent(L"the scripting library", CLSID_DocumentStore, CLSCTX_INPROC_SERVER),
        FindComponent(L"the session server", CLSID_Session, CLSCTX_INPROC_SERVER),
        FindComponent(L"the script signer", CLSID_ScriptSigner, CLSCTX_ALL)};
    CLSID proxy{};
    // By these the state change reaches the worker's thread.
    if (CComponent& session = components[1];
        session.problem.empty() && FAILED(CoGetPSClsid(IID_IStateChangeInstance, &proxy)))
        session.problem = L"is not registered: the proxies of its interfaces are missing";
    return components;
}
