#include "cms/SignedData.h"

#include "common/SignerErrors.h"
#include "crypto/PublicKey.h"

namespace {

/// The only value of an attribute that must be there exactly once.
CDerReader RequireAttribute(const std::vector<CAttribute>& attributes, std::string_view oid) {
    const CAttribute* found = nullptr;
    for (const CAttribute& attribute : attributes) {
        if (attribute.oid != oid)
            continue;
        if (found != nullptr)
            throw CRefusal(L"the signature has an attribute twice");
        found = &attribute;
    }
    if (found == nullptr)
        throw CRefusal(L"the signature lacks an attribute that it must have");
    return CDerReader(found->values);
}

const CDigestAlgorithm* ReadDigestAlgorithm(CDerReader& reader) {
    const CDigestAlgorithm* const digest = FindDigest(reader.ReadAlgorithm());
    if (digest == nullptr)
        throw CRefusal(L"the signature's digest is of an unknown kind");
    return digest;
}

} // namespace

std::vector<CAttribute> ParseAttributes(CBytesView content) {
    std::vector<CAttribute> attributes;
    for (CDerReader reader(content); !reader.AtEnd();) {
        CDerReader fields = reader.Enter(DerTag::Sequence);
        std::string oid = fields.ReadOid();
        attributes.push_back({std::move(oid), fields.Read(DerTag::Set).content});
        fields.RequireEnd();
    }
    return attributes;
}

CSignerInfo ParseSignerInfo(CBytesView bytes) {
    CDerReader fields = EnterSequence(bytes);
    CSignerInfo signer;
    if (fields.ReadSmallInteger() != 1)
        throw CRefusal(L"the signer is not named by issuer and serial number");
    CDerReader name = fields.Enter(DerTag::Sequence);
    signer.issuer = name.Read(DerTag::Sequence).whole;
    signer.serial = name.Read(DerTag::Integer).content;
    name.RequireEnd();
    signer.digest = ReadDigestAlgorithm(fields);
    signer.signedAttributes = fields.Read(DerTag::Context(0)).whole;
    signer.signatureOid = fields.ReadAlgorithm();
    signer.signature = fields.Read(DerTag::Octets).content;
    if (!fields.AtEnd()) {
        const CBytesView attributes = fields.Read(DerTag::Context(1)).content;
        // An empty set would be a second spelling of none.
        if (attributes.empty())
            throw CRefusal(L"the signature has an empty set of attributes");
        signer.unsignedAttributes = ParseAttributes(attributes);
    }
    fields.RequireEnd();
    return signer;
}

CSignedData ParseSignedData(CBytesView bytes) {
    CDerReader contentInfo = EnterSequence(bytes);
    if (contentInfo.ReadOid() != szOID_RSA_signedData)
        throw CRefusal(L"the signature block holds something else than a signature");
    CDerReader explicitContent = contentInfo.Enter(DerTag::Context(0));
    contentInfo.RequireEnd();
    CDerReader fields = explicitContent.Enter(DerTag::Sequence);
    explicitContent.RequireEnd();

    CSignedData data;
    const int version = fields.ReadSmallInteger();
    CDerReader digests = fields.Enter(DerTag::Set);
    const CDigestAlgorithm* const digest = ReadDigestAlgorithm(digests);
    digests.RequireEnd();

    CDerReader encapsulated = fields.Enter(DerTag::Sequence);
    data.contentType = encapsulated.ReadOid();
    CDerReader explicitData = encapsulated.Enter(DerTag::Context(0));
    encapsulated.RequireEnd();
    const CDerElement content = explicitData.ReadAny();
    explicitData.RequireEnd();
    // Version 1 holds the content as it is and digests it without its tag and length; version 3 wraps it.
    if (version == 1 && content.tag == DerTag::Sequence)
        data.content = content.whole;
    else if (version == 3 && content.tag == DerTag::Octets)
        data.content = content.content;
    else
        throw CRefusal(L"the signature is of an unknown version");
    data.covered = content.content;

    if (fields.NextIs(DerTag::Context(0))) {
        for (CDerReader certificates = fields.Enter(DerTag::Context(0)); !certificates.AtEnd();)
            data.certificates.push_back(certificates.Read(DerTag::Sequence).whole);
    }
    CDerReader signers = fields.Enter(DerTag::Set);
    fields.RequireEnd();
    data.signer = ParseSignerInfo(signers.Read(DerTag::Sequence).whole);
    if (!signers.AtEnd())
        throw CRefusal(L"there is more than one signer");
    if (data.signer.digest != digest)
        throw CRefusal(L"the signature names two kinds of digest");
    // The algorithm stands outside of what is signed: a second name for it would let a block be changed unseen. Those
    // who make time stamps (version 3) use either.
    if (version == 1 && data.signer.signatureOid == digest->rsaOid)
        throw CRefusal(L"the signature names its algorithm together with its digest");
    return data;
}

std::vector<CAttribute> RequireSignature(const CSignerInfo& signer, PCCERT_CONTEXT certificate,
                                         std::string_view contentType, CBytesView contentDigest) {
    // Signed as a SET, stored under a tag of its own.
    CBytes attributes(signer.signedAttributes.begin(), signer.signedAttributes.end());
    attributes.front() = DerTag::Set;
    const CPublicKey key(certificate);
    if (!key.Verify(*signer.digest, signer.signatureOid, ComputeDigest(*signer.digest, attributes), signer.signature))
        throw CRefusal(L"the signature does not match the signer's certificate: it was altered");

    CDerReader reader(signer.signedAttributes);
    std::vector<CAttribute> signedAttributes = ParseAttributes(reader.ReadAny().content);
    CDerReader type = RequireAttribute(signedAttributes, szOID_RSA_contentType);
    if (type.ReadOid() != contentType)
        throw CRefusal(L"the signature is for another kind of content");
    type.RequireEnd();
    CDerReader digest = RequireAttribute(signedAttributes, szOID_RSA_messageDigest);
    if (!SameBytes(digest.Read(DerTag::Octets).content, contentDigest))
        throw CRefusal(L"the signed content was altered");
    digest.RequireEnd();
    return signedAttributes;
}
