#pragma once

// Whether a certificate is spelled as X.509 demands, down to the values of its extensions. Whoever wrote a script's
// signature block chose the certificates in it, and the platform has to decode them before anything about them is
// proved. Its decoders are not made for that (an empty key usage that claims unused bits sends one of them far outside
// the value), so nothing reaches them that is not well-formed.

#include "asn1/Der.h"

/// Throws CRefusal, also for keys other than RSA and the three curves that signatures are verified with.
void RequireWellFormedCertificate(CBytesView bytes);
