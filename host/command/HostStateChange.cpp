#include "HostStateChange.h"

#include "ExitCode.h"

namespace {
/// The answer of a property that cannot fail otherwise.
template <class T> HRESULT Return(T value, T* result) {
    if (result == nullptr)
        return E_POINTER;
    *result = value;
    return S_OK;
}
} // namespace

CComPtr<CHostStateChange> CHostStateChange::Announce(_STATE_CHANGE_TYPE state) {
    CComObject<CHostStateChange>* object = nullptr;
    if (FAILED(CComObject<CHostStateChange>::CreateInstance(&object)))
        throw CCommandError(ExitCode::Failed, L"the state change could not be announced.");
    CComPtr<CHostStateChange> owner(object);
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    object->m_state = state;
    object->m_timestamp = static_cast<hyper>((static_cast<ULONGLONG>(now.dwHighDateTime) << 32) | now.dwLowDateTime);
    return owner;
}

STDMETHODIMP CHostStateChange::get_NewState(long* pState) {
    return Return(static_cast<long>(m_state), pState);
}

STDMETHODIMP CHostStateChange::get_Invoker(long* pInvoker) {
    return Return(0L, pInvoker);
}

STDMETHODIMP CHostStateChange::get_Flags(long* pFlags) {
    return Return(0L, pFlags);
}

STDMETHODIMP CHostStateChange::get_Timestamp(hyper* pTimestamp) {
    return Return(m_timestamp, pTimestamp);
}

STDMETHODIMP CHostStateChange::get_Vetoed(VARIANT_BOOL* pVetoed) {
    return Return(static_cast<VARIANT_BOOL>(m_vetoed ? VARIANT_TRUE : VARIANT_FALSE), pVetoed);
}

STDMETHODIMP CHostStateChange::put_Vetoed(VARIANT_BOOL vetoed) {
    m_vetoed = vetoed != VARIANT_FALSE;
    return S_OK;
}
