#pragma once

// A private RSA key, wherever the system keeps it. Never asks the user anything.

#include "CryptHandles.h"
#include "Digest.h"

class CSigningKey {
public:
    /// The key that belongs to a certificate; throws CSignerError when there is none or it may not be used.
    explicit CSigningKey(PCCERT_CONTEXT certificate);
    /// A key that the caller owns.
    CSigningKey(HCRYPTPROV provider, DWORD keySpec) noexcept : m_handle(provider), m_keySpec(keySpec) {}

    /// PKCS#1 signature of the message, most significant byte first; throws CSignerError.
    CBytes Sign(const CDigestAlgorithm& digest, CBytesView message) const;

private:
    /// Old providers stop at SHA-1; the key is then copied into memory for this object's life.
    void RequireSha256();
    CBytes SignWithProvider(const CDigestAlgorithm& digest, const CBytes& hash) const;
    CBytes SignInMemory(const CDigestAlgorithm& digest, CBytes hash) const;
    CBytes SignWithNCrypt(const CDigestAlgorithm& digest, CBytes hash) const;

    HCRYPTPROV_OR_NCRYPT_KEY_HANDLE m_handle;
    DWORD m_keySpec;
    CUniqueProvider m_ownedProvider;
    CUniqueNCryptKey m_ownedKey;
    CUniqueKeyPair m_copiedKey;
};
