#pragma once

// References that a class has to hold in a plain pointer.

#include <atlcomcli.h>

/// Releases the reference, if there is one.
inline void GiveBack(IUnknown* reference) noexcept {
    ATL::CComPtr<IUnknown>().Attach(reference);
}
