#pragma once

// Whether a certificate is trusted on this machine for one usage at one time: its chain ends in one of the machine's
// trusted roots, allows the usage, was valid at that time and is not known to be revoked, and nobody below the root has
// a key or a signature that is too weak. Revocation lists that the chain names are fetched; one that cannot be reached
// in time does not count against the certificate.

#include "certificates/ChainBuilder.h"

/// Throws CRefusal with the first reason against it.
void RequireTrustedChain(PCCERT_CONTEXT certificate, const CChainDemand& demand);
