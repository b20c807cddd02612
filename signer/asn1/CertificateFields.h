#pragma once

#include "asn1/Der.h"

#include <string>

/// A certificate's own fields, as far as they identify it. Views point into the bytes that were given.
struct CCertificateFields {
    CBytesView serial;
    CBytesView issuer;
    std::string signatureOid;
};

/// Throws CRefusal, also when what the certificate's signature does not cover is not what it must be.
CCertificateFields ParseCertificate(CBytesView bytes);
