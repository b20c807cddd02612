#include "ProcessWindows.h"

#include "ProcessWindow.h"
#include "SessionError.h"
#include "VariantEnumerator.h"
#include "com/NewObject.h"

CComPtr<IProcessWindows> CProcessWindows::Create(const std::shared_ptr<CTargetProcess>& target) {
    const auto object = NewObject<CProcessWindows>();
    object->m_target = target;
    for (HWND window : target->VisibleWindows())
        object->m_windows.push_back(CProcessWindow::Create(target, window));
    return CComPtr<IProcessWindows>(object);
}

STDMETHODIMP CProcessWindows::get_Item(long index, IProcessWindow** ppWindow) {
    return Answer(*this, L"Windows.Item", ppWindow, [&] {
        if (index < 0 || static_cast<std::size_t>(index) >= m_windows.size())
            throw CSessionError(E_INVALIDARG, L"there is no window " + std::to_wstring(index) + L" among " +
                                                  std::to_wstring(m_windows.size()) + L", which count from 0");
        return m_windows[static_cast<std::size_t>(index)];
    });
}

STDMETHODIMP CProcessWindows::get_Count(long* pCount) {
    return Answer(*this, L"Windows.Count", pCount, [&] { return static_cast<long>(m_windows.size()); });
}

STDMETHODIMP CProcessWindows::get__NewEnum(IUnknown** ppEnum) {
    return Answer(*this, L"Windows", ppEnum, [&] {
        return CVariantEnumerator::Create({m_windows.begin(), m_windows.end()}, 0);
    });
}
