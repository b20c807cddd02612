#pragma once

// A certificate's public key, RSA or ECDSA, for checking signatures.

#include "common/CryptHandles.h"
#include "crypto/Digest.h"

class CPublicKey {
public:
    /// Throws CRefusal when the key is of another kind, broken, or RSA with less than 1024 bits.
    explicit CPublicKey(PCCERT_CONTEXT certificate);

    /// The identifier of the signature must fit the key and the digest.
    bool Verify(const CDigestAlgorithm& digest, std::string_view signatureOid, CBytes hash, CBytesView signature) const;

private:
    CUniquePublicKey m_key;
    bool m_rsa;
    /// Bytes of the modulus, or of one coordinate.
    ULONG m_length;
};
