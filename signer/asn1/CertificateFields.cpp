#include "asn1/CertificateFields.h"

#include "common/SignerErrors.h"

CCertificateFields ParseCertificate(CBytesView bytes) {
    CDerReader parts = EnterSequence(bytes);
    CDerReader fields = parts.Enter(DerTag::Sequence);
    if (fields.NextIs(DerTag::Context(0)))
        fields.ReadAny();
    CCertificateFields certificate;
    certificate.serial = fields.Read(DerTag::Integer).content;
    const CDerElement innerAlgorithm = fields.Read(DerTag::Sequence);
    certificate.issuer = fields.Read(DerTag::Sequence).whole;
    // The outer algorithm is not signed; it must repeat the inner one. The same goes for the unused bits.
    const CDerElement outerAlgorithm = parts.Read(DerTag::Sequence);
    const CBytesView signature = parts.Read(DerTag::BitString).content;
    parts.RequireEnd();
    if (!SameBytes(innerAlgorithm.whole, outerAlgorithm.whole) || signature.empty() || signature[0] != 0)
        throw CRefusal(L"a certificate in the signature block was altered");
    certificate.signatureOid = CDerReader(innerAlgorithm.content).ReadOid();
    return certificate;
}
