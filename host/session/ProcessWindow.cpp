#include "ProcessWindow.h"

#include "ComResult.h"

#include <array>
#include <string>

namespace {
constexpr UINT AnswerTimeout = 10000; // milliseconds

std::wstring ReadClassName(HWND window) {
    std::array<wchar_t, 257> name{};
    const int length = GetClassNameW(window, name.data(), static_cast<int>(name.size()));
    return std::wstring(name.data(), static_cast<std::size_t>(length));
}

BOOL CALLBACK FindEditControl(HWND window, LPARAM context) {
    const std::wstring name = ReadClassName(window);
    const bool isEdit = _wcsicmp(name.c_str(), L"Edit") == 0 || _wcsnicmp(name.c_str(), L"RichEdit", 8) == 0;
    if (!isEdit || !IsWindowVisible(window))
        return TRUE;
    *reinterpret_cast<HWND*>(context) = window;
    return FALSE;
}

HRESULT Ask(HWND window, UINT message, WPARAM wParam, LPARAM lParam, DWORD_PTR& answer) {
    SetLastError(ERROR_SUCCESS);
    if (SendMessageTimeoutW(window, message, wParam, lParam, SMTO_ABORTIFHUNG, AnswerTimeout, &answer) != 0)
        return S_OK;
    const DWORD error = GetLastError();
    return HRESULT_FROM_WIN32(error != ERROR_SUCCESS ? error : static_cast<DWORD>(ERROR_TIMEOUT));
}

/// WM_GETTEXT works across processes, unlike GetWindowText on a control.
HRESULT ReadText(HWND window, std::wstring& text) {
    DWORD_PTR length = 0;
    HRESULT hr = Ask(window, WM_GETTEXTLENGTH, 0, 0, length);
    if (FAILED(hr))
        return hr;
    text.assign(length + 1, L'\0');
    DWORD_PTR copied = 0;
    hr = Ask(window, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()), copied);
    text.resize(FAILED(hr) ? 0 : copied);
    return hr;
}
} // namespace

HRESULT CProcessWindow::Create(HWND window, IProcessWindow** ppWindow) {
    CComObject<CProcessWindow>* object = nullptr;
    const HRESULT hr = CComObject<CProcessWindow>::CreateInstance(&object);
    if (FAILED(hr))
        return hr;
    const CComPtr<IProcessWindow> owner(object);
    object->m_window = window;
    return owner.CopyTo(ppWindow);
}

STDMETHODIMP CProcessWindow::get_Handle(long* pHandle) {
    if (pHandle == nullptr)
        return E_POINTER;
    *pHandle = HandleToLong(m_window); // window handles carry 32 significant bits
    return S_OK;
}

STDMETHODIMP CProcessWindow::get_Title(BSTR* pTitle) {
    if (pTitle == nullptr)
        return E_POINTER;
    std::wstring title;
    const HRESULT hr = ReadText(m_window, title);
    return FAILED(hr) ? hr : ReturnText(title, pTitle);
}

STDMETHODIMP CProcessWindow::get_ClassName(BSTR* pClassName) {
    return ReturnText(ReadClassName(m_window), pClassName);
}

STDMETHODIMP CProcessWindow::get_Text(BSTR* pText) {
    if (pText == nullptr)
        return E_POINTER;
    HWND source = m_window;
    EnumChildWindows(m_window, FindEditControl, reinterpret_cast<LPARAM>(&source));
    std::wstring text;
    const HRESULT hr = ReadText(source, text);
    return FAILED(hr) ? hr : ReturnText(text, pText);
}

STDMETHODIMP CProcessWindow::get_Visible(VARIANT_BOOL* pVisible) {
    if (pVisible == nullptr)
        return E_POINTER;
    *pVisible = IsWindowVisible(m_window) ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}
