#include "common/SignerErrors.h"

#include "base/SystemMessage.h"
#include "base/Utf8.h"

#include <iterator>

namespace {

std::wstring SystemText(HRESULT result) {
    const std::wstring message = GetSystemPhrase(static_cast<unsigned long>(result));
    wchar_t code[16];
    _snwprintf_s(code, std::size(code), _TRUNCATE, L"0x%08lx", static_cast<unsigned long>(result));
    return message.empty() ? std::wstring(L"error ") + code : message + L" (" + code + L")";
}

} // namespace

CSignerError::CSignerError(HRESULT result, const std::wstring& text)
    : m_result(result), m_text(text), m_narrow(ToUtf8(text)) {}

void ThrowSystemError(const std::wstring& what, HRESULT result) {
    throw CSignerError(result, what + L": " + SystemText(result));
}

void ThrowLastError(const std::wstring& what) {
    const DWORD error = GetLastError();
    ThrowSystemError(what, error != 0 ? HRESULT_FROM_WIN32(error) : E_FAIL);
}
