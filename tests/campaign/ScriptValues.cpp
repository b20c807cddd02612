#include "ScriptValues.h"

#include <limits>

namespace {
/// A number of the type, by way of one that has a conversion.
CComVariant Number(VARTYPE type, long long value) {
    CComVariant number;
    V_VT(&number) = VT_I8;
    V_I8(&number) = value;
    if (type != VT_I8)
        number.ChangeType(type);
    return number;
}

CComVariant Raw(VARTYPE type) {
    CComVariant value;
    V_VT(&value) = type; // everything else is zero
    return value;
}

CComVariant Array(VARTYPE type, ULONG count) {
    CComVariant value;
    if (SAFEARRAY* const array = SafeArrayCreateVector(type, 0, count)) {
        V_VT(&value) = static_cast<VARTYPE>(VT_ARRAY | type);
        V_ARRAY(&value) = array;
    }
    return value;
}
} // namespace

std::vector<CScriptValue> MakeScriptValues(IDispatch* object) {
    std::vector<CScriptValue> values{
        {"empty", CComVariant()},
        {"null", Raw(VT_NULL)},
        {"I2", CComVariant(short{-2})},
        {"I4", CComVariant(3L)},
        {"I4 largest", CComVariant(std::numeric_limits<long>::max())},
        {"I4 least", CComVariant(std::numeric_limits<long>::min())},
        {"R4", Number(VT_R4, 5)},
        {"R8", CComVariant(1e300)},
        {"R8 infinite", CComVariant(std::numeric_limits<double>::infinity())},
        {"R8 no number", CComVariant(std::numeric_limits<double>::quiet_NaN())},
        {"currency", Number(VT_CY, 7)},
        {"date", Number(VT_DATE, 40'000)},
        {"date beyond", Number(VT_DATE, 4'000'000)},
        {"text", CComVariant(L"text")},
        {"text empty", CComVariant(L"")},
        {"text none", Raw(VT_BSTR)},
        {"text long", CComVariant(std::wstring(70'000, L'x').c_str())},
        {"text of a number", CComVariant(L"1")},
        {"object", CComVariant(object)},
        {"object none", Raw(VT_DISPATCH)},
        {"missing", CComVariant(DISP_E_PARAMNOTFOUND, VT_ERROR)},
        {"error", CComVariant(E_FAIL, VT_ERROR)},
        {"true", CComVariant(true)},
        {"unknown", CComVariant(static_cast<IUnknown*>(object))},
        {"unknown none", Raw(VT_UNKNOWN)},
        {"decimal", Number(VT_DECIMAL, 9)},
        {"I1", Number(VT_I1, 10)},
        {"UI1", Number(VT_UI1, 11)},
        {"UI2", Number(VT_UI2, 12)},
        {"UI4", Number(VT_UI4, 4'000'000'000)},
        {"I8", Number(VT_I8, std::numeric_limits<long long>::min())},
        {"UI8", Number(VT_UI8, 14)},
        {"INT", Number(VT_INT, 15)},
        {"UINT", Number(VT_UINT, 16)},
        {"array of variants", Array(VT_VARIANT, 3)},
        {"array of texts", Array(VT_BSTR, 3)},
        {"array of bytes", Array(VT_UI1, 100)},
        {"array without elements", Array(VT_VARIANT, 0)},
        {"array none", Raw(VT_ARRAY | VT_VARIANT)},
    };
    return values;
}

VARIANT ReferenceTo(VARIANT& value) {
    VARIANT reference;
    VariantInit(&reference);
    V_VT(&reference) = static_cast<VARTYPE>(VT_BYREF | V_VT(&value));
    // A decimal takes the whole variant; everything else stands at one place.
    V_BYREF(&reference) = V_VT(&value) == VT_DECIMAL ? static_cast<void*>(&value) : static_cast<void*>(&V_I8(&value));
    return reference;
}

VARIANT VariantReferenceTo(VARIANT& value) {
    VARIANT reference;
    VariantInit(&reference);
    V_VT(&reference) = VT_BYREF | VT_VARIANT;
    V_VARIANTREF(&reference) = &value;
    return reference;
}
