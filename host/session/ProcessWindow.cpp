#include "ProcessWindow.h"

#include "SessionError.h"
#include "com/NewObject.h"

#include <array>
#include <cwchar>

namespace {
using ClassName = std::array<wchar_t, 257>;

ClassName ReadClassName(HWND window) noexcept {
    ClassName name{};
    GetClassNameW(window, name.data(), static_cast<int>(name.size()));
    return name;
}

BOOL CALLBACK FindEditControl(HWND window, LPARAM context) noexcept {
    const ClassName name = ReadClassName(window);
    const bool isEdit = _wcsicmp(name.data(), L"Edit") == 0 || _wcsnicmp(name.data(), L"RichEdit", 8) == 0;
    if (!isEdit || !IsWindowVisible(window))
        return TRUE;
    *reinterpret_cast<HWND*>(context) = window;
    return FALSE;
}
} // namespace

CComPtr<IProcessWindow> CProcessWindow::Create(const std::shared_ptr<CTargetProcess>& target, HWND window) {
    const auto object = NewObject<CProcessWindow>();
    object->m_target = target;
    object->m_window = window;
    return CComPtr<IProcessWindow>(object);
}

std::wstring CProcessWindow::Describe() const {
    std::array<wchar_t, 16> number{};
    _snwprintf_s(number.data(), number.size(), _TRUNCATE, L"0x%lx", HandleToULong(m_window));
    return L"window " + std::wstring(number.data()) + L" of " + m_target->Describe();
}

void CProcessWindow::RequireWindow() const {
    if (!m_target->Owns(m_window))
        throw CSessionError(HRESULT_FROM_WIN32(ERROR_INVALID_WINDOW_HANDLE),
                            m_target->HasExited() ? L"the process has ended" : L"the window is gone");
}

STDMETHODIMP CProcessWindow::get_Handle(long* pHandle) {
    // Window handles carry 32 significant bits.
    return Answer(*this, L"Handle", pHandle, [&] { return HandleToLong(m_window); });
}

STDMETHODIMP CProcessWindow::get_Title(BSTR* pTitle) {
    return Answer(*this, L"Title", pTitle, [&] {
        RequireWindow();
        return m_target->ReadText(m_window);
    });
}

STDMETHODIMP CProcessWindow::get_ClassName(BSTR* pClassName) {
    return Answer(*this, L"ClassName", pClassName,
                  [&] { return std::wstring(m_target->Owns(m_window) ? ReadClassName(m_window).data() : L""); });
}

STDMETHODIMP CProcessWindow::get_Text(BSTR* pText) {
    return Answer(*this, L"Text", pText, [&] {
        RequireWindow();
        HWND source = m_window;
        EnumChildWindows(m_window, FindEditControl, reinterpret_cast<LPARAM>(&source));
        return m_target->ReadText(source);
    });
}

STDMETHODIMP CProcessWindow::get_Visible(VARIANT_BOOL* pVisible) {
    return Answer(*this, L"Visible", pVisible,
                  [&] { return m_target->Owns(m_window) && IsWindowVisible(m_window) != FALSE; });
}
