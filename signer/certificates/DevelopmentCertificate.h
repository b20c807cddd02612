#pragma once

// A self-signed certificate for signing scripts on a developer's own machine. Its key is in the current user's key
// store, the certificate in the user's store "My". Nobody trusts it until `trust` is run.

#include "common/CryptHandles.h"

/// Valid for one year, subject "CN=Quorline Development". Throws CSignerError and leaves no key behind.
CUniqueCertificate CreateDevelopmentCertificate();
