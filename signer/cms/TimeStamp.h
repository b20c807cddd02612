#pragma once

// Time stamps in a signature: a counter-signature or a time-stamp token by an authority that this machine trusts for
// time stamping. Either says when the signature existed, so that it outlives its certificate.

#include "cms/SignedData.h"
#include "common/SignerPolicy.h"

#include <optional>

/// Nothing when the signature has none. Throws CRefusal when it has one that does not hold, when it has several, and
/// when it has any other attribute that no signature covers.
std::optional<FILETIME> ReadTimeStamp(const CSignerInfo& signer, const class CCertificateBag& certificates,
                                      const CSignerPolicy& policy);
