#pragma once

// Owners for what the cryptographic interfaces hand out.

#include "base/UniqueHandle.h"

#include <windows.h>

#include <wincrypt.h>
#include <bcrypt.h>
#include <ncrypt.h>

using CUniqueCertificate = CUnique<CNullableTraits<PCCERT_CONTEXT, &CertFreeCertificateContext>>;

inline CUniqueCertificate ShareCertificate(PCCERT_CONTEXT certificate) noexcept {
    return CUniqueCertificate(CertDuplicateCertificateContext(certificate));
}

inline void CloseStore(HCERTSTORE value) noexcept {
    CertCloseStore(value, 0);
}
using CUniqueStore = CUnique<CNullableTraits<HCERTSTORE, &CloseStore>>;
using CUniqueChain = CUnique<CNullableTraits<PCCERT_CHAIN_CONTEXT, &CertFreeCertificateChain>>;

/// BCrypt and NCrypt hand out pointers, the older interface numbers.
template <class T, auto CloseFunction> struct CCryptTraits {
    using Type = T;
    static Type Null() noexcept { return Type{}; }
    static bool IsValid(Type value) noexcept { return value != Type{}; }
    static void Close(Type value) noexcept { CloseFunction(value); }
};
inline void CloseAlgorithm(BCRYPT_ALG_HANDLE value) noexcept {
    BCryptCloseAlgorithmProvider(value, 0);
}
inline void CloseProvider(HCRYPTPROV value) noexcept {
    CryptReleaseContext(value, 0);
}
using CUniqueAlgorithm = CUnique<CCryptTraits<BCRYPT_ALG_HANDLE, &CloseAlgorithm>>;
using CUniqueHash = CUnique<CCryptTraits<BCRYPT_HASH_HANDLE, &BCryptDestroyHash>>;
using CUniquePublicKey = CUnique<CCryptTraits<BCRYPT_KEY_HANDLE, &BCryptDestroyKey>>;
using CUniqueNCryptKey = CUnique<CCryptTraits<NCRYPT_KEY_HANDLE, &NCryptFreeObject>>;
using CUniqueProvider = CUnique<CCryptTraits<HCRYPTPROV, &CloseProvider>>;
using CUniqueCryptKey = CUnique<CCryptTraits<HCRYPTKEY, &CryptDestroyKey>>;
using CUniqueCryptHash = CUnique<CCryptTraits<HCRYPTHASH, &CryptDestroyHash>>;
