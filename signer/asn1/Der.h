#pragma once

// ASN.1 in its distinguished encoding. The reader takes nothing but the one valid spelling of each element, so that no
// two byte sequences mean the same signature; the writer builds elements from the inside out:
//
//     CBytes info = DerSequence({DerSequence({DerOid(szOID_NIST_sha256), DerNull()}), DerOctets(digest)});
//
// Views point into the bytes that were given and live as long as they.

#include "common/Bytes.h"

#include <initializer_list>
#include <string>
#include <string_view>

/// Throws the CRefusal for bytes that are no such encoding.
[[noreturn]] void RefuseMalformed();

namespace DerTag {
inline constexpr BYTE Boolean = 0x01;
inline constexpr BYTE Integer = 0x02;
inline constexpr BYTE BitString = 0x03;
inline constexpr BYTE Octets = 0x04;
inline constexpr BYTE Null = 0x05;
inline constexpr BYTE Oid = 0x06;
inline constexpr BYTE Enumerated = 0x0A;
inline constexpr BYTE Utf8String = 0x0C;
inline constexpr BYTE NumericString = 0x12;
inline constexpr BYTE PrintableString = 0x13;
inline constexpr BYTE TeletexString = 0x14;
inline constexpr BYTE Ia5String = 0x16;
inline constexpr BYTE UtcTime = 0x17;
inline constexpr BYTE GeneralizedTime = 0x18;
inline constexpr BYTE VisibleString = 0x1A;
inline constexpr BYTE GeneralString = 0x1B;
inline constexpr BYTE UniversalString = 0x1C;
inline constexpr BYTE BmpString = 0x1E;
inline constexpr BYTE Sequence = 0x30;
inline constexpr BYTE Set = 0x31;
/// A constructed element with a tag of its context.
constexpr BYTE Context(int number) noexcept {
    return static_cast<BYTE>(0xA0 + number);
}
/// The same with a value of its own in it.
constexpr BYTE ContextValue(int number) noexcept {
    return static_cast<BYTE>(0x80 + number);
}
} // namespace DerTag

/// The content without tag and length, and the whole element.
struct CDerElement {
    BYTE tag;
    CBytesView content;
    CBytesView whole;
};

/// Reads element after element; anything unexpected throws CRefusal.
class CDerReader {
public:
    explicit CDerReader(CBytesView bytes) noexcept : m_rest(bytes) {}

    bool AtEnd() const noexcept { return m_rest.empty(); }
    bool NextIs(BYTE tag) const noexcept { return !m_rest.empty() && m_rest[0] == tag; }
    CBytesView Rest() const noexcept { return m_rest; }

    CDerElement ReadAny();
    CDerElement Read(BYTE tag);
    /// A reader over the content of the next element.
    CDerReader Enter(BYTE tag) { return CDerReader(Read(tag).content); }
    /// Dotted decimal.
    std::string ReadOid();
    int ReadSmallInteger();
    /// UTCTime or GeneralizedTime, in UTC.
    FILETIME ReadTime();
    /// SEQUENCE of an identifier with parameters that are absent or NULL; returns the identifier.
    std::string ReadAlgorithm();
    /// Nothing may follow.
    void RequireEnd() const;

private:
    CBytesView m_rest;
};

/// A reader over the content of the SEQUENCE that the bytes are; nothing may follow it.
inline CDerReader EnterSequence(CBytesView bytes) {
    CDerReader outer(bytes);
    CDerReader content = outer.Enter(DerTag::Sequence);
    outer.RequireEnd();
    return content;
}

CBytes DerElement(BYTE tag, std::initializer_list<CBytesView> parts);
inline CBytes DerSequence(std::initializer_list<CBytesView> parts) {
    return DerElement(DerTag::Sequence, parts);
}
inline CBytes DerOctets(CBytesView bytes) {
    return DerElement(DerTag::Octets, {bytes});
}
inline CBytes DerNull() {
    return DerElement(DerTag::Null, {});
}
CBytes DerSetOf(std::vector<CBytes> elements, BYTE tag = DerTag::Set);
CBytes DerInteger(unsigned value);
CBytes DerOid(std::string_view dotted);
/// The identifier with NULL parameters.
CBytes DerAlgorithm(std::string_view oid);
