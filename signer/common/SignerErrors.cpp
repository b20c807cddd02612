#include "common/SignerErrors.h"

#include "base/UniqueHandle.h"

#include <cwctype>

namespace {

std::wstring SystemText(HRESULT result) {
    wchar_t* text = nullptr;
    const DWORD length =
        FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                       nullptr, static_cast<DWORD>(result), 0, reinterpret_cast<LPWSTR>(&text), 0, nullptr);
    const CUniqueLocalMemory<wchar_t> owner(text);
    std::wstring message(text != nullptr ? text : L"", length);
    while (!message.empty() && (std::iswspace(message.back()) || message.back() == L'.'))
        message.pop_back();
    wchar_t code[16];
    _snwprintf_s(code, std::size(code), _TRUNCATE, L"0x%08lx", static_cast<unsigned long>(result));
    return message.empty() ? std::wstring(L"error ") + code : message + L" (" + code + L")";
}

} // namespace

CSignerError::CSignerError(HRESULT result, const std::wstring& text)
    : m_result(result), m_text(text), m_narrow(text.size() * 3, '\0') {
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), m_narrow.data(),
                                         static_cast<int>(m_narrow.size()), nullptr, nullptr);
    m_narrow.resize(static_cast<std::size_t>(size));
}

void ThrowSystemError(const std::wstring& what, HRESULT result) {
    throw CSignerError(result, what + L": " + SystemText(result));
}

void ThrowLastError(const std::wstring& what) {
    const DWORD error = GetLastError();
    ThrowSystemError(what, error != 0 ? HRESULT_FROM_WIN32(error) : E_FAIL);
}
