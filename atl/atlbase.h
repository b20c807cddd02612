#pragma once

// The module: how many of its objects live, which classes it serves, and how they are registered.
//
//     class CMyModule : public ATL::CAtlDllModuleT<CMyModule> {
//     public:
//         DECLARE_LIBID(LIBID_MyLib)
//         DECLARE_REGISTRY_APPID_RESOURCEID(101, "{3185B4F4-...}")
//     };
//     CMyModule _AtlModule;
//
// One module object per DLL or program, which lives as long as it. Counts are interlocked; the object map is filled
// while the program's static objects are made and only read afterwards.

#include "atlcomcli.h"
#include "statreg.h"

extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace ATL {

/// Where this module's code and resources are.
class CAtlBaseModule {
public:
    HINSTANCE GetModuleInstance() const noexcept { return reinterpret_cast<HINSTANCE>(&__ImageBase); }
    HINSTANCE GetResourceInstance() const noexcept { return GetModuleInstance(); }
};
inline constexpr CAtlBaseModule _AtlBaseModule;

using _ATL_CREATORFUNC = HRESULT(void* outer, REFIID iid, void** object);

/// One class of the module, linked into the map by the OBJECT_ENTRY_AUTO that defines it.
struct _ATL_OBJMAP_ENTRY {
    _ATL_OBJMAP_ENTRY(const CLSID& clsid, HRESULT (*updateRegistry)(BOOL), _ATL_CREATORFUNC* getClassObject,
                      _ATL_CREATORFUNC* createInstance)
    noexcept
        : pclsid(&clsid), pfnUpdateRegistry(updateRegistry), pfnGetClassObject(getClassObject),
          pfnCreateInstance(createInstance), next(std::exchange(first, this)) {}

    const CLSID* pclsid;
    HRESULT (*pfnUpdateRegistry)(BOOL registering);
    _ATL_CREATORFUNC* pfnGetClassObject;
    _ATL_CREATORFUNC* pfnCreateInstance;
    _ATL_OBJMAP_ENTRY* next;

    static inline _ATL_OBJMAP_ENTRY* first = nullptr;
};

/// Loads the type library that stands in a module's resources (index "\\1" and so on; empty for the first).
inline HRESULT AtlLoadTypeLib(HINSTANCE module, LPCOLESTR index, CComBSTR& path, ITypeLib** library) {
    path = (AtlGetModuleFileName(module) + (index != nullptr ? index : L"")).c_str();
    return LoadTypeLibEx(path, REGKIND_NONE, library);
}

inline HRESULT AtlRegisterTypeLib(HINSTANCE module, LPCOLESTR index) {
    CComBSTR path;
    CComPtr<ITypeLib> library;
    const HRESULT hr = AtlLoadTypeLib(module, index, path, &library);
    if (FAILED(hr))
        return hr;
    std::wstring directory = AtlGetModuleFileName(module);
    directory.resize(directory.find_last_of(L"\\/") + 1);
    return RegisterTypeLib(library, path, directory.data());
}

inline HRESULT AtlUnRegisterTypeLib(HINSTANCE module, LPCOLESTR index) {
    CComBSTR path;
    CComPtr<ITypeLib> library;
    HRESULT hr = AtlLoadTypeLib(module, index, path, &library);
    if (FAILED(hr))
        return hr;
    TLIBATTR* attributes = nullptr;
    hr = library->GetLibAttr(&attributes);
    if (FAILED(hr))
        return hr;
    const TLIBATTR copy = *attributes;
    library->ReleaseTLibAttr(attributes);
    hr = UnRegisterTypeLib(copy.guid, copy.wMajorVerNum, copy.wMinorVerNum, copy.lcid, copy.syskind);
    // A library that was not registered is gone already. Windows and Wine say so in different ways.
    return hr == TYPE_E_REGISTRYACCESS || hr == E_INVALIDARG ? S_OK : hr;
}

class CAtlModule;
inline CAtlModule* _pAtlModule = nullptr;

/// Optional steps after registration and before unregistration.
inline HRESULT (*_pPerfRegFunc)(HINSTANCE module) = nullptr;
inline HRESULT (*_pPerfUnRegFunc)() = nullptr;

class CAtlModule {
public:
    CAtlModule() noexcept { _pAtlModule = this; }
    CAtlModule(const CAtlModule&) = delete;
    CAtlModule& operator=(const CAtlModule&) = delete;
    virtual ~CAtlModule() { _pAtlModule = nullptr; }

    virtual LONG Lock() noexcept { return InterlockedIncrement(&m_nLockCnt); }
    virtual LONG Unlock() noexcept { return InterlockedDecrement(&m_nLockCnt); }
    virtual LONG GetLockCount() noexcept { return m_nLockCnt; }

    /// Replacements that every script of the module knows, besides MODULE.
    virtual void AddCommonRGSReplacements(std::vector<_ATL_REGMAP_ENTRY>&) {}

    HRESULT UpdateRegistryFromResource(UINT resourceId, BOOL registering,
                                       const _ATL_REGMAP_ENTRY* entries = nullptr) noexcept {
        try {
            std::vector<_ATL_REGMAP_ENTRY> replacements;
            for (; entries != nullptr && entries->szKey != nullptr; ++entries)
                replacements.push_back(*entries);
            AddCommonRGSReplacements(replacements);
            return AtlUpdateRegistryFromResource(_AtlBaseModule.GetModuleInstance(), resourceId, registering != FALSE,
                                                 replacements);
        } catch (const CAtlException& e) {
            return e;
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        }
    }

    static inline GUID m_libid{};

private:
    LONG m_nLockCnt = 0;
};

template <class T> class CAtlModuleT : public CAtlModule {
public:
    CAtlModuleT() noexcept { T::InitLibId(); }
    static void InitLibId() noexcept {}

    static HRESULT UpdateRegistryAppId(BOOL) noexcept { return S_OK; }
    HRESULT RegisterAppId() noexcept { return T::UpdateRegistryAppId(TRUE); }
    HRESULT UnregisterAppId() noexcept { return T::UpdateRegistryAppId(FALSE); }

    /// Stops at the first class that fails and leaves what was written. A null class means all.
    HRESULT RegisterServer(BOOL registerTypeLib = FALSE, const CLSID* clsid = nullptr) noexcept {
        return UpdateServer(TRUE, registerTypeLib, clsid);
    }
    HRESULT UnregisterServer(BOOL unregisterTypeLib = FALSE, const CLSID* clsid = nullptr) noexcept {
        return UpdateServer(FALSE, unregisterTypeLib, clsid);
    }

    HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void** object) noexcept {
        if (object == nullptr)
            return E_POINTER;
        *object = nullptr;
        for (const auto* entry = _ATL_OBJMAP_ENTRY::first; entry != nullptr; entry = entry->next) {
            if (IsEqualCLSID(clsid, *entry->pclsid))
                return entry->pfnGetClassObject(reinterpret_cast<void*>(entry->pfnCreateInstance), iid, object);
        }
        return CLASS_E_CLASSNOTAVAILABLE;
    }

private:
    static HRESULT UpdateServer(BOOL registering, BOOL typeLib, const CLSID* clsid) noexcept {
        HRESULT hr = S_OK;
        for (const auto* entry = _ATL_OBJMAP_ENTRY::first; entry != nullptr && SUCCEEDED(hr); entry = entry->next) {
            if (clsid == nullptr || IsEqualCLSID(*clsid, *entry->pclsid))
                hr = entry->pfnUpdateRegistry(registering);
        }
        if (FAILED(hr) || !typeLib)
            return hr;
        try {
            HINSTANCE__* const module = _AtlBaseModule.GetModuleInstance();
            return registering ? AtlRegisterTypeLib(module, nullptr) : AtlUnRegisterTypeLib(module, nullptr);
        } catch (const CAtlException& e) {
            return e;
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        }
    }
};

/// The module of an in-process server. Its methods are what the four entry points call.
template <class T> class CAtlDllModuleT : public CAtlModuleT<T> {
public:
    HRESULT DllCanUnloadNow() noexcept { return this->GetLockCount() == 0 ? S_OK : S_FALSE; }

    HRESULT DllGetClassObject(REFCLSID clsid, REFIID iid, void** object) noexcept {
        return this->GetClassObject(clsid, iid, object);
    }

    HRESULT DllRegisterServer(BOOL registerTypeLib = TRUE) noexcept {
        const CSystemLocaleScope locale;
        HRESULT hr = this->RegisterAppId();
        if (SUCCEEDED(hr))
            hr = this->RegisterServer(registerTypeLib);
        if (SUCCEEDED(hr) && _pPerfRegFunc != nullptr)
            hr = _pPerfRegFunc(_AtlBaseModule.GetModuleInstance());
        return hr;
    }

    HRESULT DllUnregisterServer(BOOL unregisterTypeLib = TRUE) noexcept {
        const CSystemLocaleScope locale;
        HRESULT hr = _pPerfUnRegFunc != nullptr ? _pPerfUnRegFunc() : S_OK;
        if (SUCCEEDED(hr))
            hr = this->UnregisterServer(unregisterTypeLib);
        if (SUCCEEDED(hr))
            hr = this->UnregisterAppId();
        return hr;
    }

private:
    /// The registry is written under the system's locale, whatever the calling thread's is.
    class CSystemLocaleScope {
    public:
        CSystemLocaleScope() noexcept { SetThreadLocale(LOCALE_SYSTEM_DEFAULT); }
        CSystemLocaleScope(const CSystemLocaleScope&) = delete;
        CSystemLocaleScope& operator=(const CSystemLocaleScope&) = delete;
        ~CSystemLocaleScope() { SetThreadLocale(m_saved); }

    private:
        const LCID m_saved = GetThreadLocale();
    };
};

} // namespace ATL

#define DECLARE_LIBID(libid)                                                                                           \
    static void InitLibId() noexcept {                                                                                 \
        ATL::CAtlModule::m_libid = libid;                                                                              \
    }

#define DECLARE_REGISTRY_APPID_RESOURCEID(resid, appid)                                                                \
    static HRESULT UpdateRegistryAppId(BOOL registering) noexcept {                                                    \
        return ATL::_pAtlModule->UpdateRegistryFromResource(resid, registering);                                       \
    }                                                                                                                  \
    void AddCommonRGSReplacements(std::vector<ATL::_ATL_REGMAP_ENTRY>& entries) override {                             \
        entries.push_back({L"APPID", L"" appid});                                                                      \
    }

#define DECLARE_REGISTRY_RESOURCEID(resid)                                                                             \
    static HRESULT UpdateRegistry(BOOL registering) noexcept {                                                         \
        return ATL::_pAtlModule->UpdateRegistryFromResource(resid, registering);                                       \
    }

#define DECLARE_NO_REGISTRY()                                                                                          \
    static HRESULT UpdateRegistry(BOOL) noexcept {                                                                     \
        return S_OK;                                                                                                   \
    }

#define OBJECT_ENTRY_AUTO(clsid, class)                                                                                \
    static ATL::_ATL_OBJMAP_ENTRY objectEntry_##class(clsid, class ::UpdateRegistry,                                   \
                                                      class ::_ClassFactoryCreatorClass::CreateInstance,               \
                                                      class ::_CreatorClass::CreateInstance);
