#pragma once

// A value of every kind that an automation call can carry, and an object that hands them to scripts as "Values".

#include "BareDispatch.h"

#include <string>
#include <utility>
#include <vector>

struct CScriptValue {
    std::string name;
    CComVariant value;
};

/// Each type by value; the objects are some that the caller can count references of.
std::vector<CScriptValue> MakeScriptValues(IDispatch* object);

/// The value by reference: as the type that it has, or as a variant. Lives no longer than the value.
VARIANT ReferenceTo(VARIANT& value);
VARIANT VariantReferenceTo(VARIANT& value);

/// Item(index) is a value.
class CValuesObject : public CBareDispatch<IDispatch> {
public:
    BEGIN_COM_MAP(CValuesObject)
    COM_INTERFACE_ENTRY(IDispatch)
    END_COM_MAP()

    STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT* result, EXCEPINFO*, UINT*) override {
        CComVariant index;
        if (params->cArgs != 1 || FAILED(index.ChangeType(VT_UI4, &params->rgvarg[0])) ||
            V_UI4(&index) >= values.size())
            return DISP_E_BADINDEX;
        return result ? VariantCopy(result, &values[V_UI4(&index)].value) : S_OK;
    }

    std::vector<CScriptValue> values;
};
