#pragma once

// Takes a signature apart and puts it together again with one part changed, as time-stamping services and forgers do.

#include "Der.h"
#include "SignedData.h"

#include <vector>

/// Every part as the whole element it was.
struct CSignedDataParts {
    CBytes version, digests, content, certificates;
    /// The fields of the only signer.
    CBytes signerVersion, signerName, signerDigest, signedAttributes, signatureAlgorithm, signature, unsignedAttributes;

    explicit CSignedDataParts(CBytesView bytes);
    CBytes Join() const;

    void AddCertificate(PCCERT_CONTEXT certificate);
    /// As an attribute that no signature covers.
    void AddAttribute(const char* oid, const CBytes& value);
    /// The octets of the signature.
    CBytes SignatureOctets() const;
};
