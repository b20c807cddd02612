// The four entry points: what they do, in which order, and how they fail. Proves DllMain.

#include "Registration.h"

#include "ImportHook.h"
#include "Quorline.h"

#include <atlbase.h>

#include <gtest/gtest.h>

// The header that declares these serves C alone.
extern "C" {
HRESULT WINAPI NdrDllGetClassObject(REFCLSID clsid, REFIID iid, void** object, const void* files, const CLSID* proxies,
                                    void* factory);
HRESULT WINAPI NdrDllRegisterProxy(HMODULE module, const void* files, const CLSID* clsid);
HRESULT WINAPI NdrDllUnregisterProxy(HMODULE module, const void* files, const CLSID* clsid);
}

namespace {

std::vector<std::wstring> g_steps;
HRESULT g_typeLibraryAnswer = S_OK;
int g_registrarsUntilFailure = -1;

BOOL WINAPI NotedSetThreadLocale(LCID locale) {
    g_steps.push_back(L"locale " + std::to_wstring(locale));
    return SetThreadLocale(locale);
}

/// Every registry script is run by a registrar of its own.
HRESULT WINAPI NotedCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD context, REFIID iid, void** object) {
    g_steps.emplace_back(L"script");
    if (g_registrarsUntilFailure-- == 0)
        return REGDB_E_CLASSNOTREG;
    return CoCreateInstance(clsid, outer, context, iid, object);
}

HRESULT WINAPI NotedRegisterTypeLib(ITypeLib* library, OLECHAR* path, OLECHAR* help) {
    g_steps.emplace_back(L"type library");
    return FAILED(g_typeLibraryAnswer) ? g_typeLibraryAnswer : RegisterTypeLib(library, path, help);
}

HRESULT WINAPI NotedUnRegisterTypeLib(REFGUID id, WORD major, WORD minor, LCID locale, SYSKIND kind) {
    g_steps.emplace_back(L"type library gone");
    return FAILED(g_typeLibraryAnswer) ? g_typeLibraryAnswer : UnRegisterTypeLib(id, major, minor, locale, kind);
}

HRESULT WINAPI NotedRegisterProxy(HMODULE module, const void* files, const CLSID* clsid) {
    g_steps.emplace_back(L"proxies");
    return NdrDllRegisterProxy(module, files, clsid);
}

HRESULT WINAPI NotedUnregisterProxy(HMODULE module, const void* files, const CLSID* clsid) {
    g_steps.emplace_back(L"proxies gone");
    return NdrDllUnregisterProxy(module, files, clsid);
}

HRESULT WINAPI NotedGetProxyFactory(REFCLSID clsid, REFIID iid, void** object, const void* files, const CLSID* proxies,
                                    void* factory) {
    g_steps.emplace_back(L"proxy factory");
    return NdrDllGetClassObject(clsid, iid, object, files, proxies, factory);
}

HRESULT g_canUnloadAnswer = S_OK;
HRESULT WINAPI AnsweredCanUnload(void*) {
    return g_canUnloadAnswer;
}

template <class Function> Function* EntryPoint(const char* name) {
    const auto found = GetProcAddress(GetModuleHandleW(L"Quorline.dll"), name);
    if (found == nullptr)
        throw std::runtime_error(name);
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(found));
}
using CPlainEntryPoint = HRESULT STDAPICALLTYPE();

class EntryPoints : public testing::Test {
protected:
    void SetUp() override {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        ASSERT_EQ(Unregister(), S_OK);
        g_steps.clear();
        g_typeLibraryAnswer = S_OK;
        g_registrarsUntilFailure = -1;
    }
    void TearDown() override {
        g_typeLibraryAnswer = S_OK;
        g_registrarsUntilFailure = -1;
        Unregister();
        CoUninitialize();
    }
    static HRESULT Register() { return EntryPoint<CPlainEntryPoint>("DllRegisterServer")(); }
    static HRESULT Unregister() { return EntryPoint<CPlainEntryPoint>("DllUnregisterServer")(); }
    static HRESULT CanUnload() { return EntryPoint<CPlainEntryPoint>("DllCanUnloadNow")(); }
    static HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void** object) {
        return EntryPoint<HRESULT STDAPICALLTYPE(REFCLSID, REFIID, void**)>("DllGetClassObject")(clsid, iid, object);
    }
    static std::wstring Locale(LCID locale) { return L"locale " + std::to_wstring(locale); }

    const HMODULE module = GetModuleHandleW(L"Quorline.dll");
    const CImportHook locale{module, "SetThreadLocale", &NotedSetThreadLocale};
    const CImportHook registrar{module, "CoCreateInstance", &NotedCreateInstance};
    const CImportHook typeLibrary{module, "RegisterTypeLib", &NotedRegisterTypeLib};
    const CImportHook typeLibraryGone{module, "UnRegisterTypeLib", &NotedUnRegisterTypeLib};
    const CImportHook proxies{module, "NdrDllRegisterProxy", &NotedRegisterProxy};
    const CImportHook proxiesGone{module, "NdrDllUnregisterProxy", &NotedUnregisterProxy};
    const CImportHook proxyFactory{module, "NdrDllGetClassObject", &NotedGetProxyFactory};
    const LCID ownLocale = GetThreadLocale();
};

} // namespace

TEST_F(EntryPoints, RegisterTheApplicationTheClassesTheTypeLibraryThenTheProxies) {
    EXPECT_EQ(Register(), S_OK);
    const std::vector<std::wstring> expected = {Locale(LOCALE_SYSTEM_DEFAULT),
                                                L"script",
                                                L"script",
                                                L"script",
                                                L"script",
                                                L"script",
                                                L"script",
                                                L"type library",
                                                Locale(ownLocale),
                                                L"proxies"};
    EXPECT_EQ(g_steps, expected);
    EXPECT_EQ(GetThreadLocale(), ownLocale);
}

TEST_F(EntryPoints, UnregisterAfterRegisteringTheProxiesOnceMore) {
    ASSERT_EQ(Register(), S_OK);
    g_steps.clear();
    EXPECT_EQ(Unregister(), S_OK);
    const std::vector<std::wstring> expected = {
        Locale(LOCALE_SYSTEM_DEFAULT), L"script", L"script",         L"script",  L"script",      L"script",
        L"type library gone",          L"script", Locale(ownLocale), L"proxies", L"proxies gone"};
    EXPECT_EQ(g_steps, expected);
    EXPECT_EQ(GetThreadLocale(), ownLocale);
}

TEST_F(EntryPoints, ReturnTheFirstFailureWithTheLocaleRestored) {
    g_typeLibraryAnswer = TYPE_E_REGISTRYACCESS;
    EXPECT_EQ(Register(), TYPE_E_REGISTRYACCESS);
    EXPECT_EQ(g_steps.back(), Locale(ownLocale));
    // What was written stays.
    EXPECT_FALSE(ReadClasses(L"Quorline.DocumentStore").empty());
    EXPECT_FALSE(ReadClasses(L"AppID\\Quorline.DLL").empty());

    g_steps.clear();
    g_typeLibraryAnswer = E_ACCESSDENIED;
    EXPECT_EQ(Unregister(), E_ACCESSDENIED);
    EXPECT_EQ(g_steps.back(), Locale(ownLocale));
    EXPECT_FALSE(ReadClasses(L"AppID\\Quorline.DLL").empty());
}

TEST_F(EntryPoints, StopAtTheFirstScriptThatCannotRun) {
    for (int good = 0; good < 6; ++good) {
        g_steps.clear();
        g_registrarsUntilFailure = good;
        EXPECT_EQ(Register(), REGDB_E_CLASSNOTREG) << good;
        EXPECT_EQ(g_steps.size(), static_cast<std::size_t>(good) + 3) << good;
        EXPECT_EQ(g_steps.back(), Locale(ownLocale)) << good;
    }
}

TEST_F(EntryPoints, AskTheProxyFactoryBeforeTheClasses) {
    void* factory = nullptr;
    EXPECT_EQ(GetClassObject(CLSID_DocumentStore, IID_IClassFactory, &factory), S_OK);
    EXPECT_EQ(g_steps, std::vector<std::wstring>{L"proxy factory"});
    CComPtr<IClassFactory> owner;
    owner.Attach(static_cast<IClassFactory*>(factory));

    CComPtr<IPSFactoryBuffer> proxyBuffer;
    EXPECT_EQ(GetClassObject(IID_IDocumentStore, IID_IPSFactoryBuffer, reinterpret_cast<void**>(&proxyBuffer)), S_OK);
    EXPECT_TRUE(proxyBuffer);
}

TEST_F(EntryPoints, KnowNoOtherClass) {
    void* object = &object;
    EXPECT_EQ(GetClassObject(CLSID_NULL, IID_IClassFactory, &object), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(GetClassObject(CLSID_DocumentStore, IID_IPersist, &object), E_NOINTERFACE);
    EXPECT_EQ(GetClassObject(CLSID_DocumentStore, IID_IClassFactory, nullptr), E_POINTER);
}

TEST_F(EntryPoints, KeepTheLibraryWhileAnObjectAFactoryOrALockLives) {
    EXPECT_EQ(CanUnload(), S_OK);
    CComPtr<IClassFactory> factory;
    ASSERT_EQ(GetClassObject(CLSID_ScriptState, IID_IClassFactory, reinterpret_cast<void**>(&factory)), S_OK);
    EXPECT_EQ(CanUnload(), S_FALSE);
    CComPtr<IUnknown> object;
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, reinterpret_cast<void**>(&object)), S_OK);
    factory->LockServer(TRUE);
    factory.Release();
    EXPECT_EQ(CanUnload(), S_FALSE);
    object.Release();
    EXPECT_EQ(CanUnload(), S_FALSE);
    ASSERT_EQ(GetClassObject(CLSID_ScriptState, IID_IClassFactory, reinterpret_cast<void**>(&factory)), S_OK);
    factory->LockServer(FALSE);
    factory.Release();
    EXPECT_EQ(CanUnload(), S_OK);
}

TEST_F(EntryPoints, KeepTheLibraryWhileTheProxySideSaysSo) {
    const CImportHook hook(module, "NdrDllCanUnloadNow", &AnsweredCanUnload);
    for (const HRESULT answer : {S_FALSE, E_UNEXPECTED, S_OK}) {
        g_canUnloadAnswer = answer;
        EXPECT_EQ(CanUnload(), answer);
    }
}

TEST(LibraryFile, SaysWhatItIs) {
    const std::wstring path = LibraryPath();
    std::vector<BYTE> data(GetFileVersionInfoSizeW(path.c_str(), nullptr));
    ASSERT_FALSE(data.empty());
    ASSERT_TRUE(GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(data.size()), data.data()));
    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT size = 0;
    ASSERT_TRUE(VerQueryValueW(data.data(), L"\\", reinterpret_cast<void**>(&fixed), &size));
    EXPECT_EQ(fixed->dwFileVersionMS, 0x00050000u);
    EXPECT_EQ(fixed->dwFileType, static_cast<DWORD>(VFT_DLL));
    // Administration tools register only what says that it can register itself.
    void* text = nullptr;
    EXPECT_TRUE(VerQueryValueW(data.data(), L"\\StringFileInfo\\040904B0\\OLESelfRegister", &text, &size));

    wchar_t name[40] = L"";
    EXPECT_EQ(LoadStringW(GetModuleHandleW(L"Quorline.dll"), 100, name, 40), 8);
    EXPECT_STREQ(name, L"Quorline");
}
