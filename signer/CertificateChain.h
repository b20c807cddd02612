#pragma once

// Whether a certificate is trusted on this machine for one usage at one time: its chain ends in one of the machine's
// trusted roots, allows the usage, was valid at that time and is not known to be revoked. Revocation lists that the
// chain names are fetched; one that cannot be reached does not count against the certificate.

#include "CryptHandles.h"
#include "SignerPolicy.h"

struct CChainDemand {
    /// The usage that the certificate must name itself.
    const char* usage;
    FILETIME at;
    /// Certificates that may stand between it and the root.
    HCERTSTORE intermediates;
    CSignerPolicy policy;
};

/// Throws CRefusal with the first reason against it.
void RequireTrustedChain(PCCERT_CONTEXT certificate, const CChainDemand& demand);
