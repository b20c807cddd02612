#pragma once

// The exception that the COM helpers of this folder raise. It carries an HRESULT and is no std::exception.

#include <windows.h>

namespace ATL {

class CAtlException {
public:
    CAtlException() noexcept = default;
    explicit CAtlException(HRESULT hr) noexcept : m_hr(hr) {}

    operator HRESULT() const noexcept { return m_hr; }

    HRESULT m_hr = E_FAIL;
};

[[noreturn]] inline void AtlThrow(HRESULT hr) {
    throw CAtlException(hr);
}

inline HRESULT AtlHresultFromWin32(DWORD error) noexcept {
    return HRESULT_FROM_WIN32(error);
}

/// The thread's last error as a failure; E_FAIL when the failed call set none.
inline HRESULT AtlHresultFromLastError() noexcept {
    const DWORD error = GetLastError();
    return error != ERROR_SUCCESS ? AtlHresultFromWin32(error) : E_FAIL;
}

[[noreturn]] inline void AtlThrowLastWin32() {
    AtlThrow(AtlHresultFromLastError());
}

} // namespace ATL

#ifndef _ATL_NO_AUTOMATIC_NAMESPACE
using namespace ATL;
#endif
