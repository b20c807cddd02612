#pragma once

// Whether names in certificates are well-formed. All functions throw CRefusal.

#include "asn1/Der.h"

/// A distinguished name, without its own tag and length. It may be empty; its values are strings.
void RequireName(CDerReader parts);

/// The next of the names that an extension may hold: an address, a distinguished name and others.
void RequireGeneralName(CDerReader& names);
/// One such name or more, to the end.
void RequireGeneralNames(CDerReader names);
