#pragma once

// The digests that signatures are made with. New ones are SHA-256; the longer ones are read as well, SHA-1 only where
// the machine's policy asks for it.

#include "asn1/Der.h"

#include <string_view>

struct CDigestAlgorithm {
    const char* oid;
    /// The identifiers of signatures made with this digest: RSA (besides plain rsaEncryption) and ECDSA.
    const char* rsaOid;
    const char* ecdsaOid;
    const wchar_t* name;
    /// For keys of the older interface.
    unsigned algId;
    bool weak;
};

extern const CDigestAlgorithm Sha256;

/// Null when the digest is not one of the four.
const CDigestAlgorithm* FindDigest(std::string_view oid) noexcept;
/// The digest of an RSA or ECDSA signature identifier, null for others.
const CDigestAlgorithm* FindSignatureDigest(std::string_view signatureOid) noexcept;

/// Throws CSignerError when the system cannot.
CBytes ComputeDigest(const CDigestAlgorithm& algorithm, CBytesView bytes);
