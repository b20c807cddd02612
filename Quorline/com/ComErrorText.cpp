#include "com/ComErrorText.h"

#include "base/SystemMessage.h"

#include <atlbase.h>

#include <comdef.h>

#include <array>
#include <cwchar>

std::wstring GetComErrorText(HRESULT hr) {
    if (std::wstring text = GetSystemMessage(static_cast<unsigned long>(hr), MessageInserts::Refuse); !text.empty()) {
        if (text.ends_with(L"\r\n"))
            text.resize(text.size() - 2);
        return text;
    }
    constexpr unsigned long firstDispatchError = 0x80040200UL;
    constexpr unsigned long lastDispatchError = 0x8004FFFFUL;
    const auto code = static_cast<unsigned long>(hr);
    std::array<wchar_t, 32> text{};
    if (code >= firstDispatchError && code <= lastDispatchError)
        _snwprintf_s(text.data(), text.size(), _TRUNCATE, L"IDispatch error #%d",
                     static_cast<int>(code - firstDispatchError));
    else
        _snwprintf_s(text.data(), text.size(), _TRUNCATE, L"Unknown error 0x%0lX", code);
    return text.data();
}

void ThrowComError(HRESULT hr, IUnknown* object, REFIID iid) {
    CComPtr<IErrorInfo> information;
    const CComQIPtr<ISupportErrorInfo> support(object);
    if (support != nullptr && support->InterfaceSupportsErrorInfo(iid) == S_OK)
        GetErrorInfo(0, &information);
    throw _com_error(hr, information, true);
}
