#pragma once

#include "asn1/Der.h"

/// Whether a certificate's extension has a value that is right for it; of one that is not known here it must be one
/// well-formed element. The identifier is a whole element. Throws CRefusal.
void RequireExtensionValue(CBytesView oid, CBytesView value);
