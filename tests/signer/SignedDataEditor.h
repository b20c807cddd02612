#pragma once

// Takes a signature apart and puts it together again with one part changed, as time-stamping services and forgers do.

#include "asn1/Der.h"
#include "cms/SignedData.h"

#include <vector>

/// Every part as the whole element it was.
struct CSignedDataParts {
    CBytes version, digests, content, certificates;
    /// The fields of the only signer.
    CBytes signerVersion, signerName, signerDigest, signedAttributes, signatureAlgorithm, signature, unsignedAttributes;
    /// A second one, which no signature has.
    CBytes otherSigner;

    explicit CSignedDataParts(CBytesView bytes);
    CBytes Join() const;

    void AddCertificate(PCCERT_CONTEXT certificate);
    void AddCertificate(const CBytes& encoded);
    /// As an attribute that no signature covers.
    void AddAttribute(const char* oid, const CBytes& value);
    /// The octets of the signature.
    CBytes SignatureOctets() const;
};

/// Puts a certificate together anew from its fields, as a forger may spell them.
struct CCertificateParts {
    CBytes version, serial, algorithm, issuer, validity, subject, key;
    /// Whole elements; none leaves the field out.
    std::vector<CBytes> extensions;

    explicit CCertificateParts(CBytesView bytes);
    /// Signed with this key, whoever the issuer is.
    CBytes Join(const class CSigningKey& issuerKey) const;
    void AddExtension(const char* oid, const CBytes& value);
    /// The same, in place of one that is there.
    void ReplaceExtension(const char* oid, const CBytes& value);
};
