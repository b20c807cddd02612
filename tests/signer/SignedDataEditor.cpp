#include "SignedDataEditor.h"

#include "certificates/CertificateStore.h"
#include "crypto/SigningKey.h"
#include "DerWriter.h"

namespace {

CBytes Copy(CBytesView bytes) {
    return {bytes.begin(), bytes.end()};
}

std::vector<CBytes> ElementsOf(const CBytes& set) {
    std::vector<CBytes> elements;
    CDerReader outer(set);
    for (CDerReader reader(set.empty() ? CBytesView() : outer.ReadAny().content); !reader.AtEnd();)
        elements.push_back(Copy(reader.ReadAny().whole));
    return elements;
}

} // namespace

CSignedDataParts::CSignedDataParts(CBytesView bytes) {
    CDerReader outer(bytes);
    CDerReader contentInfo = outer.Enter(DerTag::Sequence);
    contentInfo.ReadOid();
    CDerReader fields = contentInfo.Enter(DerTag::Context(0)).Enter(DerTag::Sequence);
    for (CBytes* const part : {&version, &digests, &content, &certificates})
        *part = Copy(fields.ReadAny().whole);
    CDerReader signer = fields.Enter(DerTag::Set).Enter(DerTag::Sequence);
    for (CBytes* const part :
         {&signerVersion, &signerName, &signerDigest, &signedAttributes, &signatureAlgorithm, &signature})
        *part = Copy(signer.ReadAny().whole);
    if (!signer.AtEnd())
        unsignedAttributes = Copy(signer.ReadAny().whole);
}

CBytes CSignedDataParts::Join() const {
    const CBytes signer = DerSequence(
        {signerVersion, signerName, signerDigest, signedAttributes, signatureAlgorithm, signature, unsignedAttributes});
    const CBytes signers = DerElement(DerTag::Set, {signer, otherSigner});
    const CBytes data = DerSequence({version, digests, content, certificates, signers});
    return DerSequence({DerOid(szOID_RSA_signedData), DerElement(DerTag::Context(0), {data})});
}

void CSignedDataParts::AddCertificate(PCCERT_CONTEXT certificate) {
    AddCertificate(Copy(EncodedBytes(certificate)));
}

void CSignedDataParts::AddCertificate(const CBytes& encoded) {
    std::vector<CBytes> elements = ElementsOf(certificates);
    elements.push_back(encoded);
    certificates = DerSetOf(std::move(elements), DerTag::Context(0));
}

void CSignedDataParts::AddAttribute(const char* oid, const CBytes& value) {
    std::vector<CBytes> elements = ElementsOf(unsignedAttributes);
    elements.push_back(Attribute(oid, value));
    unsignedAttributes = DerSetOf(std::move(elements), DerTag::Context(1));
}

CBytes CSignedDataParts::SignatureOctets() const {
    CDerReader reader(signature);
    return Copy(reader.ReadAny().content);
}

CCertificateParts::CCertificateParts(CBytesView bytes) {
    CDerReader outer(bytes);
    CDerReader fields = outer.Enter(DerTag::Sequence).Enter(DerTag::Sequence);
    for (CBytes* const part : {&version, &serial, &algorithm, &issuer, &validity, &subject, &key})
        *part = Copy(fields.ReadAny().whole);
    for (CDerReader list = fields.Enter(DerTag::Context(3)).Enter(DerTag::Sequence); !list.AtEnd();)
        extensions.push_back(Copy(list.ReadAny().whole));
}

CBytes CCertificateParts::Join(const CSigningKey& issuerKey) const {
    CBytes list;
    for (const CBytes& extension : extensions)
        list.insert(list.end(), extension.begin(), extension.end());
    const CBytes tagged = extensions.empty() ? CBytes() : DerElement(DerTag::Context(3), {DerSequence({list})});
    const CBytes fields = DerSequence({version, serial, algorithm, issuer, validity, subject, key, tagged});
    return DerSequence({fields, algorithm, DerBitString(issuerKey.Sign(Sha256, fields))});
}

void CCertificateParts::AddExtension(const char* oid, const CBytes& value) {
    extensions.push_back(DerSequence({DerOid(oid), DerOctets(value)}));
}

void CCertificateParts::ReplaceExtension(const char* oid, const CBytes& value) {
    std::erase_if(extensions, [oid](const CBytes& extension) {
        CDerReader reader(extension);
        return SameBytes(reader.Enter(DerTag::Sequence).ReadAny().whole, DerOid(oid));
    });
    AddExtension(oid, value);
}
