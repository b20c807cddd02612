#pragma once

// Elements of DER that only tests write.

#include "asn1/Der.h"

inline CBytes Bytes(std::initializer_list<int> values) {
    CBytes bytes;
    for (const int value : values)
        bytes.push_back(static_cast<BYTE>(value));
    return bytes;
}

inline CBytes Text(BYTE tag, std::string_view text) {
    return DerElement(tag, {CBytesView(reinterpret_cast<const BYTE*>(text.data()), text.size())});
}

inline CBytes DerBitString(CBytesView bytes) {
    const BYTE unusedBits = 0;
    return DerElement(DerTag::BitString, {CBytesView(&unusedBits, 1), bytes});
}

/// UTCTime up to 2049, GeneralizedTime from 2050.
CBytes DerTime(const FILETIME& time);

/// An attribute of a signature, with one value.
inline CBytes Attribute(std::string_view oid, const CBytes& value) {
    return DerSequence({DerOid(oid), DerElement(DerTag::Set, {value})});
}
