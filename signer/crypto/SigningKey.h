#pragma once

// A private RSA key, wherever the system keeps it. Never asks the user anything.

#include "common/CryptHandles.h"
#include "crypto/Digest.h"

class CSigningKey {
public:
    /// The key that belongs to a certificate; throws CSignerError when there is none or it may not be used.
    explicit CSigningKey(PCCERT_CONTEXT certificate);
    /// A key that the caller owns.
    CSigningKey(HCRYPTPROV provider, DWORD keySpec) noexcept : m_handle(provider), m_keySpec(keySpec) {}

    /// Whether it is the private half of the certificate's key.
    bool BelongsTo(PCCERT_CONTEXT certificate) const;
    /// A provider of the older interface with a copy that is kept nowhere but in memory; empty for a key of the newer
    /// one, where PFX files leave nothing behind. Throws CSignerError when the key may not be copied.
    CUniqueProvider CopyToMemory() const;
    DWORD KeySpec() const noexcept { return m_keySpec; }

    /// PKCS#1 signature of the message, most significant byte first; throws CSignerError.
    CBytes Sign(const CDigestAlgorithm& digest, CBytesView message) const;

private:
    /// As a PRIVATEKEYBLOB; throws CSignerError with this text.
    CBytes Export(const wchar_t* ifItMayNot) const;
    /// The same into memory.
    CUniqueProvider Copy(const wchar_t* ifItMayNot) const;
    /// Old providers stop at SHA-1; the key is then copied into memory for this object's life.
    void RequireSha256();
    CBytes SignWithProvider(const CDigestAlgorithm& digest, const CBytes& hash) const;
    CBytes SignWithNCrypt(const CDigestAlgorithm& digest, CBytes hash) const;

    HCRYPTPROV_OR_NCRYPT_KEY_HANDLE m_handle;
    DWORD m_keySpec;
    CUniqueProvider m_ownedProvider;
    CUniqueNCryptKey m_ownedKey;
};
