#pragma once

// IDispatch as script engines call it. Three of their habits do not fit the type library, and are met here:
//
//   - a variable arrives as a reference to a variant, which a by-reference string argument would refuse;
//   - an engine that cannot tell a property with arguments from a method asks for the method alone;
//   - VBScript knows no unsigned 32-bit numbers, so that a count cannot bound a loop.

#include "com/ExceptionHResult.h"
#include "base/StackLimit.h"
#include "Quorline.h"

#include <atlcom.h>

#include <climits>
#include <cstring>
#include <vector>

template <class T, const IID* piid, const GUID* plibid = &LIBID_QuorlineLib, WORD wMajor = 5, WORD wMinor = 0>
class CScriptDispatch : public ATL::IDispatchImpl<T, piid, plibid, wMajor, wMinor> {
public:
    /// An exception of the called method comes back as its HRESULT. A script that has all but used up its stack is
    /// refused: it must not run out of it in the middle of a call.
    STDMETHODIMP Invoke(DISPID member, REFIID iid, LCID locale, WORD flags, DISPPARAMS* params, VARIANT* result,
                        EXCEPINFO* exception, UINT* badArgument) override {
        if (params == nullptr)
            return E_POINTER;
        if (!HasStackForCall())
            return HRESULT_FROM_WIN32(ERROR_STACK_OVERFLOW);
        try {
            // The values stay the caller's: these are views of them, valid during the call.
            std::vector<VARIANT> arguments(params->rgvarg, params->rgvarg + params->cArgs);
            for (VARIANT& argument : arguments) {
                if (V_VT(&argument) != (VT_BYREF | VT_VARIANT))
                    continue;
                // Engines pack their variables closer than a VARIANT may stand, so it is copied byte by byte.
                if (const void* const variable = V_VARIANTREF(&argument))
                    std::memcpy(&argument, variable, sizeof argument);
            }
            DISPPARAMS direct = *params;
            direct.rgvarg = arguments.data();
            if (flags == DISPATCH_METHOD)
                flags |= DISPATCH_PROPERTYGET;
            const HRESULT hr = CDispatch::Invoke(member, iid, locale, flags, &direct, result, exception, badArgument);
            if (SUCCEEDED(hr) && result != nullptr && V_VT(result) == VT_UI4)
                MakeSigned(*result);
            return hr;
        } catch (...) {
            return HResultOfException();
        }
    }

protected:
    using CDispatch = ATL::IDispatchImpl<T, piid, plibid, wMajor, wMinor>;

    ~CScriptDispatch() = default;

private:
    static void MakeSigned(VARIANT& number) noexcept {
        const ULONG value = V_UI4(&number);
        if (value <= LONG_MAX) {
            V_VT(&number) = VT_I4;
        } else {
            V_VT(&number) = VT_R8;
            V_R8(&number) = value;
        }
    }
};
