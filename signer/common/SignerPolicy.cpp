#include "common/SignerPolicy.h"

#include <windows.h>

namespace {

bool ReadFlag(const wchar_t* name) {
    DWORD value = 0;
    DWORD size = sizeof value;
    return RegGetValueW(HKEY_LOCAL_MACHINE, L"Software\\Morvane\\ScriptSigner", name, RRF_RT_REG_DWORD, nullptr, &value,
                        &size) == ERROR_SUCCESS &&
           value == 1;
}

} // namespace

CSignerPolicy CSignerPolicy::OfMachine() {
    return {ReadFlag(L"AnyTrustedRoot"), ReadFlag(L"AcceptSha1")};
}
