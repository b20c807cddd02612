#pragma once

// The PKCS#7 SignedData of a signature block or a time stamp: reading its parts and checking a signer's signature. No
// certificate is judged here. Every byte that is not covered by the signature itself is compared with what it must be.
// Views point into the bytes that were given. All functions throw CRefusal.

#include "common/CryptHandles.h"
#include "crypto/Digest.h"

#include <vector>

struct CAttribute {
    std::string oid;
    /// The SET's content.
    CBytesView values;
};

struct CSignerInfo {
    CBytesView issuer;
    CBytesView serial;
    const CDigestAlgorithm* digest = nullptr;
    std::string signatureOid;
    /// The whole element, tagged [0].
    CBytesView signedAttributes;
    CBytesView signature;
    std::vector<CAttribute> unsignedAttributes;
};

struct CSignedData {
    std::string contentType;
    /// The element that stands for the content, without an OCTET STRING around it.
    CBytesView content;
    /// The bytes that the message digest covers.
    CBytesView covered;
    std::vector<CBytesView> certificates;
    CSignerInfo signer;
};

CSignedData ParseSignedData(CBytesView bytes);
CSignerInfo ParseSignerInfo(CBytesView bytes);
std::vector<CAttribute> ParseAttributes(CBytesView content);

/// Whether the signer vouches, with this certificate's key, for content of this type that has this digest (by the
/// signer's own algorithm). Returns the signed attributes.
std::vector<CAttribute> RequireSignature(const CSignerInfo& signer, PCCERT_CONTEXT certificate,
                                         std::string_view contentType, CBytesView contentDigest);
