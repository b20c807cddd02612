#pragma once

// The system's judgement of a certificate's chain, as seen by the machine and not by the user.

#include "common/CryptHandles.h"
#include "common/SignerPolicy.h"

struct CChainDemand {
    /// The usage that the certificate must name itself; a constant.
    const char* usage;
    FILETIME at;
    /// Certificates that may stand between it and the root.
    HCERTSTORE intermediates;
    CSignerPolicy policy;
};

/// Milliseconds for all revocation lists of a chain together: a machine about to hibernate does not wait longer.
inline constexpr DWORD RevocationTimeout = 5000;

/// Flags as for CertGetCertificateChain. At least one simple chain is in the result; throws CRefusal.
CUniqueChain BuildChain(PCCERT_CONTEXT certificate, const CChainDemand& demand, DWORD flags);
