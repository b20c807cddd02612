#pragma once

// The session's objects as a host gets them: the real QuorlineHost.dll's, without registration.

#include "ComApartment.h"
#include "LogLines.h"
#include "RunningApp.h"
#include "ScriptEngine.h"

#include "HostInterfaces.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

inline constexpr const wchar_t* Languages[] = {L"VBScript", L"JScript"};

/// Loaded on first use, and for good.
inline HMODULE SessionServer() {
    static const HMODULE server = LoadLibraryW(L"QuorlineHost.dll");
    if (server == nullptr)
        throw std::runtime_error("QuorlineHost.dll cannot be loaded");
    return server;
}

inline CComPtr<IClassFactory> SessionFactory() {
    using GetClassObject = HRESULT STDAPICALLTYPE(REFCLSID, REFIID, void**);
    auto* const getClassObject = reinterpret_cast<GetClassObject*>(
        reinterpret_cast<void*>(GetProcAddress(SessionServer(), "DllGetClassObject")));
    CComPtr<IClassFactory> factory;
    if (FAILED(getClassObject(CLSID_Session, IID_IClassFactory, reinterpret_cast<void**>(&factory))))
        throw std::runtime_error("there is no session class");
    return factory;
}

inline CComPtr<ISession> MakeSession() {
    CComPtr<ISession> session;
    if (FAILED(SessionFactory()->CreateInstance(nullptr, IID_ISession, reinterpret_cast<void**>(&session))))
        throw std::runtime_error("there is no session object");
    return session;
}

inline CComPtr<IProcess> ProcessOf(DWORD id) {
    CComPtr<IDispatch> object;
    if (FAILED(MakeSession()->GetProcess(id, &object)))
        throw std::runtime_error("there is no process object");
    return CComPtr<IProcess>(CComQIPtr<IProcess>(object));
}

inline CComPtr<IProcessWindows> WindowsOf(IProcess* process) {
    CComPtr<IProcessWindows> windows;
    if (FAILED(process->get_Windows(&windows)))
        throw std::runtime_error("there is no windows object");
    return windows;
}

inline CComPtr<IProcessWindow> WindowOf(IProcess* process, long index = 0) {
    CComPtr<IProcessWindow> window;
    if (FAILED(WindowsOf(process)->get_Item(index, &window)))
        throw std::runtime_error("there is no such window");
    return window;
}

/// The description that a failed call left, which is then taken away.
inline std::wstring Description() {
    CComPtr<IErrorInfo> information;
    GetErrorInfo(0, &information);
    CComBSTR text;
    if (information)
        information->GetDescription(&text);
    return text ? text.m_str : L"";
}

/// A text property; the description of the failure when it fails.
template <class Interface>
std::wstring TextOf(Interface* object, HRESULT (STDMETHODCALLTYPE Interface::*getter)(BSTR*)) {
    CComBSTR text;
    return SUCCEEDED((object->*getter)(&text)) ? std::wstring(text, text.Length()) : Description();
}

class CSessionTest : public testing::Test {
protected:
    CComApartment apartment;
    CLogLines log{false};
};
