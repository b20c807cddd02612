#include "Process.h"

#include "ProcessWindows.h"
#include "SessionError.h"
#include "com/NewObject.h"

CComPtr<IDispatch> CProcess::Create(std::shared_ptr<CTargetProcess> target) {
    const auto object = NewObject<CProcess>();
    object->m_target = std::move(target);
    return CComPtr<IDispatch>(object);
}

STDMETHODIMP CProcess::get_Id(long* pId) {
    return Answer(*this, L"Id", pId, [&] { return static_cast<long>(m_target->Id()); });
}

STDMETHODIMP CProcess::get_ImageName(BSTR* pName) {
    return Answer(*this, L"ImageName", pName, [&] { return m_target->ImageName(); });
}

STDMETHODIMP CProcess::get_Path(BSTR* pPath) {
    return Answer(*this, L"Path", pPath, [&] { return m_target->Path(); });
}

STDMETHODIMP CProcess::get_Windows(IProcessWindows** ppWindows) {
    return Answer(*this, L"Windows", ppWindows, [&] { return CProcessWindows::Create(m_target); });
}

STDMETHODIMP CProcess::get_HasExited(VARIANT_BOOL* pExited) {
    return Answer(*this, L"HasExited", pExited, [&] { return m_target->HasExited(); });
}
