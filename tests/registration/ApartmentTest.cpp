// A class that needs an apartment of its own, created from a thread that shares one. Alone in its program: the thread
// with which Wine hosts such objects keeps the library in use until the program ends.

#include "Registration.h"

#include "Quorline.h"

#include <atlbase.h>

#include <gtest/gtest.h>

TEST(Apartment, OfAnObjectIsNotThatOfAThreadWithoutOne) {
    const CRegistered registered;
    for (const CLSID& clsid : {CLSID_ScriptState, CLSID_TalvinorRestoreScriptArgs}) {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        {
            CComPtr<IUnknown> object;
            ASSERT_EQ(object.CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER), S_OK);
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
