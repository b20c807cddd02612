#pragma once

// What the tests of the automation objects share: an apartment, a scratch documents folder, the log, and what the
// objects leave behind.

#include "ComApartment.h"
#include "DocumentsFolder.h"
#include "IntlHelper/CultureHelper.h"
#include "InternalDocumentStore.h"
#include "LogLines.h"
#include "ScriptEngine.h"

#include "HostInterfaces.h"
#include "Quorline.h"

#include <gtest/gtest.h>

class CAutomationTest : public testing::Test {
protected:
    static void SetUpTestSuite() { CCultureHelper::InitInstance(nullptr, nullptr); }

    CComApartment apartment;
    CDocumentsFolder folder;
    CLogLines log;
};

inline ULONG CountOf(IUnknown* object) {
    object->AddRef();
    return object->Release();
}

/// The error information that the thread holds, which is then taken away.
struct CErrorInformation {
    CErrorInformation() { GetErrorInfo(0, &info); }

    bool IsSet() const { return info; }
    GUID Interface() const {
        GUID guid{};
        info->GetGUID(&guid);
        return guid;
    }
    std::wstring Text(HRESULT (STDMETHODCALLTYPE IErrorInfo::*getter)(BSTR*)) const {
        CComBSTR text;
        (info.p->*getter)(&text);
        return text ? text.m_str : L"";
    }

    CComPtr<IErrorInfo> info;
};

/// A record with a value in every field, told apart by the number.
inline CInternalSavedDocument MakeRecord(int number) {
    const std::wstring suffix = std::to_wstring(number);
    CInternalSavedDocument record;
    record.SetAppFriendlyName(L"Editor" + suffix);
    record.SetSaveScriptName(L"save" + suffix + L".vbs");
    record.SetRestoreScriptName(L"restore" + suffix + L".vbs");
    record.SetDocName(L"Doc" + suffix);
    record.SetDocOriginalPath(L"C:\\docs\\Doc" + suffix);
    record.SetDocTempPath(L"C:\\store\\Doc" + suffix);
    record.SetAppExeImageName(L"editor.exe");
    return record;
}

/// The host's state change on the stack: what was put, and an answer to give.
class CStateChange : public IStateChangeInstance {
public:
    STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
    STDMETHODIMP_(ULONG) Release() override { return --references; }
    STDMETHODIMP get_NewState(long*) override { return E_NOTIMPL; }
    STDMETHODIMP get_Invoker(long*) override { return E_NOTIMPL; }
    STDMETHODIMP get_Flags(long*) override { return E_NOTIMPL; }
    STDMETHODIMP get_Timestamp(hyper*) override { return E_NOTIMPL; }
    STDMETHODIMP get_Vetoed(VARIANT_BOOL*) override { return E_NOTIMPL; }
    STDMETHODIMP put_Vetoed(VARIANT_BOOL value) override {
        vetoed = value;
        return answer;
    }

    ULONG references = 1;
    VARIANT_BOOL vetoed = VARIANT_FALSE;
    HRESULT answer = S_OK;
};
