// A class that needs an apartment of its own, created from a thread that shares one. Alone in its program: the thread
// with which Wine hosts such objects keeps the library in use until the program ends. Proves the registration of
// Quorline.rgs.

#include "Registration.h"

#include "Quorline.h"

#include <atlbase.h>

#include <gtest/gtest.h>

namespace {
/// The system's service for this is started by whoever needs it first, and may not know its interfaces for a moment.
HRESULT CreateFromOutside(const CLSID& clsid, CComPtr<IUnknown>& object) {
    constexpr int Tries = 50;
    constexpr DWORD Pause = 100; // milliseconds, since nothing announces that the service is ready
    HRESULT hr = S_OK;
    for (int i = 0; i < Tries; ++i) {
        hr = object.CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER);
        if (hr != HRESULT_FROM_WIN32(RPC_S_UNKNOWN_IF))
            break;
        Sleep(Pause);
    }
    return hr;
}
} // namespace

TEST(Apartment, OfAnObjectIsNotThatOfAThreadWithoutOne) {
    const CRegistered registered;
    for (const CLSID& clsid : {CLSID_ScriptState, CLSID_TalvinorRestoreScriptArgs}) {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        {
            CComPtr<IUnknown> object;
            ASSERT_EQ(CreateFromOutside(clsid, object), S_OK);
            // Only a proxy answers this.
            EXPECT_TRUE(CComQIPtr<IMultiQI>(object));
            if (const CComQIPtr<IScriptState> state(object); state) {
                CComBSTR user;
                EXPECT_EQ(state->get_CurrentUser(&user), E_NOTIMPL);
            }
        }
        CoUninitialize();
    }
}
