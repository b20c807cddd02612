#pragma once

// An automation object for scripts that records what they tell it: Note(value) and the failing Fail().

#include "BareDispatch.h"

#include <string>
#include <vector>

class CProbeObject : public CBareDispatch<IDispatch> {
public:
    BEGIN_COM_MAP(CProbeObject)
    COM_INTERFACE_ENTRY(IDispatch)
    END_COM_MAP()

    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR* names, UINT, LCID, DISPID* ids) override {
        *ids = _wcsicmp(*names, L"Note") == 0 ? 1 : 2;
        return _wcsicmp(*names, L"Note") == 0 || _wcsicmp(*names, L"Fail") == 0 ? S_OK : DISP_E_UNKNOWNNAME;
    }
    STDMETHODIMP Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT*, EXCEPINFO* info, UINT*) override {
        if (id == 1) {
            VARIANT text;
            VariantInit(&text);
            VariantChangeType(&text, &params->rgvarg[0], 0, VT_BSTR);
            notes.push_back(text.bstrVal);
            VariantClear(&text);
            return S_OK;
        }
        if (!info) // a conversion that asks for the object's value
            return DISP_E_EXCEPTION;
        *info = EXCEPINFO{};
        info->scode = E_ACCESSDENIED;
        info->bstrSource = SysAllocString(L"Probe");
        info->bstrDescription = SysAllocString(L"it %s failed {0:%d}");
        return DISP_E_EXCEPTION;
    }

    /// References now held, by whomever.
    ULONG References() {
        AddRef();
        return Release();
    }

    std::vector<std::wstring> notes;
};

using CProbe = CComObjectNoLock<CProbeObject>;

inline CComPtr<CProbe> MakeProbe() {
    CProbe* probe = nullptr;
    CProbe::CreateInstance(&probe);
    return probe;
}
