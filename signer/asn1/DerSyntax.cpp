#include "asn1/DerSyntax.h"

#include <algorithm>

namespace {

constexpr BYTE ClassBits = 0xC0;
constexpr BYTE ConstructedBit = 0x20;

void RequireInteger(CBytesView content) {
    Require(!content.empty());
    // Nine equal bits in front would be a longer spelling of the same number.
    Require(content.size() == 1 || content[0] != (content[1] >= 0x80 ? 0xFF : 0x00));
}

void RequireOid(CBytesView content) {
    Require(!content.empty() && content.back() < 0x80);
    for (std::size_t i = 0; i < content.size(); ++i)
        Require(content[i] != 0x80 || (i > 0 && content[i - 1] >= 0x80));
}

void RequireAscii(CBytesView content) {
    Require(std::ranges::all_of(content, [](BYTE byte) { return byte < 0x80; }));
}

} // namespace

CDerBits ReadBits(CBytesView content) {
    Require(!content.empty());
    const BYTE unused = content[0];
    const CBytesView bytes = content.subspan(1);
    Require(unused <= 7 && (unused == 0 || !bytes.empty()));
    Require(unused == 0 || (bytes.back() & ((1 << unused) - 1)) == 0);
    return {unused, bytes};
}

void RequireContent(BYTE tag, CBytesView content, int depth) {
    switch (tag) {
    case DerTag::Boolean:
        // Some authorities write the default out, so both values occur.
        return Require(content.size() == 1 && (content[0] == 0x00 || content[0] == 0xFF));
    case DerTag::Integer:
    case DerTag::Enumerated:
        return RequireInteger(content);
    case DerTag::BitString:
        ReadBits(content);
        return;
    case DerTag::Null:
        return Require(content.empty());
    case DerTag::Oid:
        return RequireOid(content);
    case DerTag::UtcTime:
    case DerTag::GeneralizedTime: {
        const CBytes element = DerElement(tag, {content});
        CDerReader(element).ReadTime();
        return;
    }
    case DerTag::Octets:
    case DerTag::Utf8String:
    case DerTag::TeletexString:
    case DerTag::GeneralString:
        return;
    case DerTag::NumericString:
    case DerTag::PrintableString:
    case DerTag::Ia5String:
    case DerTag::VisibleString:
        return RequireAscii(content);
    case DerTag::UniversalString:
        return Require(content.size() % 4 == 0);
    case DerTag::BmpString:
        return Require(content.size() % 2 == 0);
    case DerTag::Sequence:
    case DerTag::Set:
        return RequireElements(content, depth - 1);
    default:
        RefuseMalformed();
    }
}

void RequireElements(CBytesView bytes, int depth) {
    Require(depth >= 0);
    for (CDerReader reader(bytes); !reader.AtEnd();) {
        const CDerElement element = reader.ReadAny();
        if ((element.tag & ClassBits) == 0)
            RequireContent(element.tag, element.content, depth);
        else if ((element.tag & ConstructedBit) != 0)
            RequireElements(element.content, depth - 1);
    }
}

CBytesView ReadChecked(CDerReader& reader, BYTE tag) {
    const CBytesView content = reader.Read(tag).content;
    RequireContent(tag, content);
    return content;
}

void ReadOptional(CDerReader& reader, int number, BYTE type) {
    if (reader.NextIs(DerTag::ContextValue(number)))
        RequireContent(type, reader.ReadAny().content);
}
