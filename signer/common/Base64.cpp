#include "common/Base64.h"

#include "common/SignerErrors.h"

#include <wincrypt.h>

std::wstring EncodeBase64(CBytesView bytes) {
    constexpr DWORD form = CRYPT_STRING_BASE64 | CRYPT_STRING_NOCRLF;
    const auto count = static_cast<DWORD>(bytes.size());
    DWORD size = 0; // with the terminator when it is asked for, without it afterwards
    if (!CryptBinaryToStringW(bytes.data(), count, form, nullptr, &size))
        ThrowLastError(L"cannot write base64");
    std::wstring text(size, L'\0');
    if (!CryptBinaryToStringW(bytes.data(), count, form, text.data(), &size))
        ThrowLastError(L"cannot write base64");
    text.resize(size);
    return text;
}
