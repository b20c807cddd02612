#include "asn1/ExtensionSyntax.h"

#include "asn1/DerSyntax.h"
#include "asn1/NameSyntax.h"

#include <windows.h>

#include <wincrypt.h>

#include <algorithm>
#include <iterator>

namespace {

// The values of extensions, each in a reader of its own.

void KeyUsage(CDerReader& value) {
    // The platform takes the last byte whether there is one or not.
    Require(!ReadBits(value.Read(DerTag::BitString).content).bytes.empty());
}

void OldBasicConstraints(CDerReader& value) {
    CDerReader fields = value.Enter(DerTag::Sequence);
    KeyUsage(fields);
    RequireElements(fields.Rest());
}

void BasicConstraints(CDerReader& value) {
    CDerReader fields = value.Enter(DerTag::Sequence);
    if (fields.NextIs(DerTag::Boolean))
        ReadChecked(fields, DerTag::Boolean);
    if (!fields.AtEnd())
        ReadChecked(fields, DerTag::Integer);
    fields.RequireEnd();
}

void AlternativeName(CDerReader& value) {
    RequireGeneralNames(value.Enter(DerTag::Sequence));
}

void OldAuthorityKey(CDerReader& value) {
    CDerReader fields = value.Enter(DerTag::Sequence);
    ReadOptional(fields, 0, DerTag::Octets);
    if (fields.NextIs(DerTag::Context(1)))
        RequireElements(fields.ReadAny().content);
    ReadOptional(fields, 2, DerTag::Integer);
    fields.RequireEnd();
}

void AuthorityKey(CDerReader& value) {
    CDerReader fields = value.Enter(DerTag::Sequence);
    ReadOptional(fields, 0, DerTag::Octets);
    if (fields.NextIs(DerTag::Context(1)))
        RequireGeneralNames(fields.Enter(DerTag::Context(1)));
    ReadOptional(fields, 2, DerTag::Integer);
    fields.RequireEnd();
}

void SubjectKey(CDerReader& value) {
    ReadChecked(value, DerTag::Octets);
}

void RevocationLists(CDerReader& value) {
    CDerReader points = value.Enter(DerTag::Sequence);
    do {
        CDerReader fields = points.Enter(DerTag::Sequence);
        if (fields.NextIs(DerTag::Context(0))) {
            CDerReader name = fields.Enter(DerTag::Context(0));
            if (name.NextIs(DerTag::Context(0)))
                RequireGeneralNames(name.Enter(DerTag::Context(0)));
            else
                RequireElements(name.Read(DerTag::Context(1)).content);
            name.RequireEnd();
        }
        ReadOptional(fields, 1, DerTag::BitString);
        if (fields.NextIs(DerTag::Context(2)))
            RequireGeneralNames(fields.Enter(DerTag::Context(2)));
        fields.RequireEnd();
    } while (!points.AtEnd());
}

void InformationAccess(CDerReader& value) {
    CDerReader descriptions = value.Enter(DerTag::Sequence);
    do {
        CDerReader fields = descriptions.Enter(DerTag::Sequence);
        ReadChecked(fields, DerTag::Oid);
        RequireGeneralName(fields);
        fields.RequireEnd();
    } while (!descriptions.AtEnd());
}

void ExtendedKeyUsage(CDerReader& value) {
    CDerReader usages = value.Enter(DerTag::Sequence);
    do
        ReadChecked(usages, DerTag::Oid);
    while (!usages.AtEnd());
}

void Policies(CDerReader& value) {
    CDerReader policies = value.Enter(DerTag::Sequence);
    do {
        CDerReader policy = policies.Enter(DerTag::Sequence);
        ReadChecked(policy, DerTag::Oid);
        if (!policy.AtEnd()) {
            for (CDerReader qualifiers = policy.Enter(DerTag::Sequence); !qualifiers.AtEnd();) {
                CDerReader qualifier = qualifiers.Enter(DerTag::Sequence);
                ReadChecked(qualifier, DerTag::Oid);
                RequireElements(qualifier.Rest());
            }
        }
        policy.RequireEnd();
    } while (!policies.AtEnd());
}

void PolicyMappings(CDerReader& value) {
    CDerReader mappings = value.Enter(DerTag::Sequence);
    do {
        CDerReader pair = mappings.Enter(DerTag::Sequence);
        ReadChecked(pair, DerTag::Oid);
        ReadChecked(pair, DerTag::Oid);
        pair.RequireEnd();
    } while (!mappings.AtEnd());
}

void PolicyConstraints(CDerReader& value) {
    CDerReader fields = value.Enter(DerTag::Sequence);
    ReadOptional(fields, 0, DerTag::Integer);
    ReadOptional(fields, 1, DerTag::Integer);
    fields.RequireEnd();
}

void InhibitAnyPolicy(CDerReader& value) {
    ReadChecked(value, DerTag::Integer);
}

void NameConstraints(CDerReader& value) {
    CDerReader fields = value.Enter(DerTag::Sequence);
    for (const int number : {0, 1}) {
        if (!fields.NextIs(DerTag::Context(number)))
            continue;
        CDerReader trees = fields.Enter(DerTag::Context(number));
        do {
            CDerReader tree = trees.Enter(DerTag::Sequence);
            RequireGeneralName(tree);
            ReadOptional(tree, 0, DerTag::Integer);
            ReadOptional(tree, 1, DerTag::Integer);
            tree.RequireEnd();
        } while (!trees.AtEnd());
    }
    fields.RequireEnd();
}

void PrivateKeyPeriod(CDerReader& value) {
    CDerReader fields = value.Enter(DerTag::Sequence);
    ReadOptional(fields, 0, DerTag::GeneralizedTime);
    ReadOptional(fields, 1, DerTag::GeneralizedTime);
    fields.RequireEnd();
}

struct CKnownExtension {
    CBytes oid;
    void (*require)(CDerReader& value);
};

} // namespace

void RequireExtensionValue(CBytesView oid, CBytesView bytes) {
    static const CKnownExtension known[] = {
        {DerOid(szOID_KEY_USAGE), &KeyUsage},
        {DerOid(szOID_BASIC_CONSTRAINTS), &OldBasicConstraints},
        {DerOid(szOID_BASIC_CONSTRAINTS2), &BasicConstraints},
        {DerOid(szOID_SUBJECT_ALT_NAME), &AlternativeName},
        {DerOid(szOID_SUBJECT_ALT_NAME2), &AlternativeName},
        {DerOid(szOID_ISSUER_ALT_NAME), &AlternativeName},
        {DerOid(szOID_ISSUER_ALT_NAME2), &AlternativeName},
        {DerOid(szOID_AUTHORITY_KEY_IDENTIFIER), &OldAuthorityKey},
        {DerOid(szOID_AUTHORITY_KEY_IDENTIFIER2), &AuthorityKey},
        {DerOid(szOID_SUBJECT_KEY_IDENTIFIER), &SubjectKey},
        {DerOid(szOID_CRL_DIST_POINTS), &RevocationLists},
        {DerOid(szOID_FRESHEST_CRL), &RevocationLists},
        {DerOid(szOID_AUTHORITY_INFO_ACCESS), &InformationAccess},
        {DerOid(szOID_SUBJECT_INFO_ACCESS), &InformationAccess},
        {DerOid(szOID_ENHANCED_KEY_USAGE), &ExtendedKeyUsage},
        {DerOid(szOID_CERT_POLICIES), &Policies},
        {DerOid(szOID_APPLICATION_CERT_POLICIES), &Policies},
        {DerOid(szOID_POLICY_MAPPINGS), &PolicyMappings},
        {DerOid(szOID_LEGACY_POLICY_MAPPINGS), &PolicyMappings},
        {DerOid(szOID_POLICY_CONSTRAINTS), &PolicyConstraints},
        {DerOid(szOID_INHIBIT_ANY_POLICY), &InhibitAnyPolicy},
        {DerOid(szOID_NAME_CONSTRAINTS), &NameConstraints},
        {DerOid(szOID_PRIVATEKEY_USAGE_PERIOD), &PrivateKeyPeriod},
    };
    CDerReader value(bytes);
    const auto* const found =
        std::ranges::find_if(known, [oid](const CKnownExtension& extension) { return SameBytes(extension.oid, oid); });
    if (found != std::end(known))
        found->require(value);
    else
        RequireElements(value.ReadAny().whole);
    value.RequireEnd();
}
