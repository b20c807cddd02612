// The module: class objects and its counts. Proves atl/atlbase.h.

#include "TestObjects.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

OBJECT_ENTRY_AUTO(CLSID_TestState, CTestState)

CTestModule& TestModule() {
    static CTestModule module;
    return module;
}

namespace {

CComPtr<IClassFactory> Factory() {
    CComPtr<IClassFactory> factory;
    EXPECT_EQ(TestModule().DllGetClassObject(CLSID_TestState, IID_IClassFactory, reinterpret_cast<void**>(&factory)),
              S_OK);
    return factory;
}

} // namespace

TEST(Module, HandsOutFactoriesThatCreateTheClass) {
    const CComPtr<IClassFactory> factory = Factory();
    ASSERT_TRUE(factory);
    CComPtr<IScriptState> state;
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IScriptState, reinterpret_cast<void**>(&state)), S_OK);
    EXPECT_EQ(TestModule().GetLockCount(), 2);
}

TEST(Module, FactoriesRefuseWhatTheyCannotDo) {
    const CComPtr<IClassFactory> factory = Factory();
    ASSERT_TRUE(factory);
    void* out = &out;
    EXPECT_EQ(factory->CreateInstance(factory, IID_IScriptState, &out), CLASS_E_NOAGGREGATION);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(factory->CreateInstance(factory, IID_IUnknown, &out), CLASS_E_NOAGGREGATION);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IPersist, &out), E_NOINTERFACE);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);
    CTestState::construct = [](IUnknown*) -> HRESULT { AtlThrow(E_ACCESSDENIED); };
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IScriptState, &out), E_ACCESSDENIED);
    CTestState::construct = [](IUnknown*) -> HRESULT { throw std::bad_alloc(); };
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IScriptState, &out), E_OUTOFMEMORY);
    CTestState::construct = nullptr;
    EXPECT_EQ(CTestState::alive, 0);
}

TEST(Module, KnowsOnlyItsOwnClasses) {
    void* out = &out;
    EXPECT_EQ(TestModule().DllGetClassObject(IID_IUnknown, IID_IClassFactory, &out), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(TestModule().DllGetClassObject(CLSID_TestState, IID_IClassFactory, nullptr), E_POINTER);
    EXPECT_EQ(TestModule().DllGetClassObject(CLSID_TestState, IID_IPersist, &out), E_NOINTERFACE);
}

TEST(Module, StaysWhileLocked) {
    {
        const CComPtr<IClassFactory> factory = Factory();
        ASSERT_TRUE(factory);
        EXPECT_EQ(TestModule().DllCanUnloadNow(), S_FALSE);
        EXPECT_EQ(factory->LockServer(TRUE), S_OK);
    }
    EXPECT_EQ(TestModule().DllCanUnloadNow(), S_FALSE);
    EXPECT_EQ(Factory()->LockServer(FALSE), S_OK);
    EXPECT_EQ(TestModule().DllCanUnloadNow(), S_OK);
}

TEST(Module, CountsFromSeveralThreads) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int n = 0; n < 1000; ++n)
                Factory();
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(TestModule().GetLockCount(), 0);
}

TEST(Module, RegistersThroughEveryClassAndKeepsTheThreadsLocale) {
    SetThreadLocale(MAKELCID(MAKELANGID(LANG_GERMAN, SUBLANG_GERMAN), SORT_DEFAULT));
    const LCID locale = GetThreadLocale();
    static HRESULT answer;
    static LCID seen;
    answer = E_ACCESSDENIED;
    _pPerfRegFunc = [](HINSTANCE) {
        seen = GetThreadLocale();
        return answer;
    };
    _pPerfUnRegFunc = [] { return answer; };
    EXPECT_EQ(TestModule().DllRegisterServer(FALSE), E_ACCESSDENIED);
    EXPECT_NE(seen, locale);
    EXPECT_EQ(GetThreadLocale(), locale);
    EXPECT_EQ(TestModule().DllUnregisterServer(FALSE), E_ACCESSDENIED);
    EXPECT_EQ(GetThreadLocale(), locale);
    answer = S_OK;
    EXPECT_EQ(TestModule().DllUnregisterServer(FALSE), S_OK);
    _pPerfRegFunc = nullptr;
    _pPerfUnRegFunc = nullptr;
    EXPECT_EQ(TestModule().DllRegisterServer(FALSE), S_OK);
}
