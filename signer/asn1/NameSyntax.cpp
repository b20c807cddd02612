#include "asn1/NameSyntax.h"

#include "asn1/DerSyntax.h"

#include <algorithm>
#include <iterator>

void RequireName(CDerReader parts) {
    constexpr BYTE strings[] = {DerTag::Utf8String,      DerTag::NumericString, DerTag::PrintableString,
                                DerTag::TeletexString,   DerTag::Ia5String,     DerTag::VisibleString,
                                DerTag::UniversalString, DerTag::BmpString};
    while (!parts.AtEnd()) {
        CDerReader part = parts.Enter(DerTag::Set);
        do {
            CDerReader attribute = part.Enter(DerTag::Sequence);
            ReadChecked(attribute, DerTag::Oid);
            const CDerElement value = attribute.ReadAny();
            attribute.RequireEnd();
            Require(std::ranges::find(strings, value.tag) != std::end(strings));
            RequireContent(value.tag, value.content);
        } while (!part.AtEnd());
    }
}

void RequireGeneralName(CDerReader& names) {
    enum Choice {
        OtherName,
        Rfc822Name,
        DnsName,
        X400Address,
        DirectoryName,
        EdiPartyName,
        Url,
        IpAddress,
        Registered
    };
    const CDerElement name = names.ReadAny();
    CDerReader content(name.content);
    switch (name.tag) {
    case DerTag::ContextValue(Rfc822Name):
    case DerTag::ContextValue(DnsName):
    case DerTag::ContextValue(Url):
        return RequireContent(DerTag::Ia5String, name.content);
    case DerTag::ContextValue(IpAddress):
        return;
    case DerTag::ContextValue(Registered):
        return RequireContent(DerTag::Oid, name.content);
    case DerTag::Context(DirectoryName):
        RequireName(content.Enter(DerTag::Sequence));
        return content.RequireEnd();
    case DerTag::Context(OtherName):
        ReadChecked(content, DerTag::Oid);
        return RequireElements(content.Rest());
    case DerTag::Context(X400Address):
    case DerTag::Context(EdiPartyName):
        return RequireElements(name.content);
    default:
        RefuseMalformed();
    }
}

void RequireGeneralNames(CDerReader names) {
    do
        RequireGeneralName(names);
    while (!names.AtEnd());
}
