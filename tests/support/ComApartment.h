#pragma once

// COM on the calling thread for the life of the object.

#include <windows.h>
#include <objbase.h>

class CComApartment {
public:
    explicit CComApartment(DWORD kind = COINIT_APARTMENTTHREADED) : m_result(CoInitializeEx(nullptr, kind)) {}
    ~CComApartment() {
        if (SUCCEEDED(m_result))
            CoUninitialize();
    }
    CComApartment(const CComApartment&) = delete;
    CComApartment& operator=(const CComApartment&) = delete;

    HRESULT GetResult() const { return m_result; }

private:
    HRESULT m_result;
};
