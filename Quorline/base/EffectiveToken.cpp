#include "base/EffectiveToken.h"

CUniqueHandle OpenEffectiveToken(DWORD access, DWORD* processError) noexcept {
    CUniqueHandle token;
    if (OpenThreadToken(GetCurrentThread(), access, TRUE, token.Put()) || GetLastError() != ERROR_NO_TOKEN)
        return token;
    if (!OpenProcessToken(GetCurrentProcess(), access, token.Put()) && processError != nullptr)
        *processError = GetLastError();
    return token;
}
