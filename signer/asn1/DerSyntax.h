#pragma once

// Checks DER of which only the spelling is known. Used on what the platform's decoders are given, which trust lengths,
// counts and unused bits too far. All functions throw CRefusal.

#include "asn1/Der.h"

inline void Require(bool holds) {
    if (!holds)
        RefuseMalformed();
}

/// How deep elements may lie within one another. Certificates need nine levels.
inline constexpr int DeepestNesting = 16;

/// A BIT STRING's content.
struct CDerBits {
    BYTE unused;
    CBytesView bytes;
};
CDerBits ReadBits(CBytesView content);

/// Whether an element of this universal type can have this content; a SEQUENCE's or a SET's elements are checked, too.
void RequireContent(BYTE tag, CBytesView content, int depth = DeepestNesting);

/// Whether the bytes are whole elements, one after the other, all the way down.
void RequireElements(CBytesView bytes, int depth = DeepestNesting);

/// The content of the next element, of a universal type.
CBytesView ReadChecked(CDerReader& reader, BYTE tag);
/// Skips the next element if it goes by this tag of its context; it must then have this universal type's content.
void ReadOptional(CDerReader& reader, int number, BYTE type);
