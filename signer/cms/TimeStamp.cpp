#include "cms/TimeStamp.h"

#include "certificates/CertificateBag.h"
#include "certificates/CertificateChain.h"
#include "common/Clock.h"
#include "common/SignerErrors.h"

namespace {

constexpr std::string_view CounterSignatureOid = szOID_RSA_counterSign;
constexpr std::string_view TokenOid = "1.3.6.1.4.1.311.3.3.1";
constexpr std::string_view TokenInfoOid = "1.2.840.113549.1.9.16.1.4";

void RequireStrong(const CDigestAlgorithm& digest, const CSignerPolicy& policy) {
    if (digest.weak && !policy.acceptSha1)
        throw CRefusal(L"it is made with SHA-1, which this machine does not accept");
}

void RequireTrustedStamp(PCCERT_CONTEXT authority, HCERTSTORE intermediates, const FILETIME& at,
                         const CSignerPolicy& policy) {
    // Clocks differ a little.
    const FILETIME limit = FromNow(std::chrono::minutes(10));
    if (CompareFileTime(&at, &limit) > 0)
        throw CRefusal(L"it lies in the future");
    RequireTrustedChain(authority, {szOID_PKIX_KP_TIMESTAMP_SIGNING, at, intermediates, policy});
}

FILETIME ReadCounterSignature(CBytesView value, CBytesView stamped, const CCertificateBag& certificates,
                              const CSignerPolicy& policy) {
    const CSignerInfo signer = ParseSignerInfo(value);
    RequireStrong(*signer.digest, policy);
    // Further attributes would not be covered by anything.
    if (!signer.unsignedAttributes.empty())
        throw CRefusal(L"it has attributes that are not signed");
    const PCCERT_CONTEXT authority = certificates.FindSigner(signer.issuer, signer.serial);
    const auto attributes = RequireSignature(signer, authority, szOID_RSA_data, ComputeDigest(*signer.digest, stamped));
    for (const CAttribute& attribute : attributes) {
        if (attribute.oid != szOID_RSA_signingTime)
            continue;
        CDerReader reader(attribute.values);
        const FILETIME at = reader.ReadTime();
        reader.RequireEnd();
        RequireTrustedStamp(authority, certificates.Store(), at, policy);
        return at;
    }
    throw CRefusal(L"it names no time");
}

FILETIME ReadToken(CBytesView value, CBytesView stamped, const CSignerPolicy& policy) {
    const CSignedData token = ParseSignedData(value);
    RequireStrong(*token.signer.digest, policy);
    if (!token.signer.unsignedAttributes.empty())
        throw CRefusal(L"it has attributes that are not signed");
    const CCertificateBag certificates(token.certificates);
    const PCCERT_CONTEXT authority = certificates.FindSigner(token.signer.issuer, token.signer.serial);
    RequireSignature(token.signer, authority, TokenInfoOid, ComputeDigest(*token.signer.digest, token.covered));

    CDerReader info = EnterSequence(token.content);
    if (token.contentType != TokenInfoOid || info.ReadSmallInteger() != 1)
        throw CRefusal(L"it is of an unknown version");
    info.ReadOid();
    CDerReader imprint = info.Enter(DerTag::Sequence);
    const CDigestAlgorithm* const digest = FindDigest(imprint.ReadAlgorithm());
    const CBytesView expected = imprint.Read(DerTag::Octets).content;
    if (digest == nullptr)
        throw CRefusal(L"its digest is of an unknown kind");
    RequireStrong(*digest, policy);
    if (!SameBytes(expected, ComputeDigest(*digest, stamped)))
        throw CRefusal(L"it belongs to another signature");
    info.Read(DerTag::Integer);
    const FILETIME at = info.ReadTime();
    RequireTrustedStamp(authority, certificates.Store(), at, policy);
    certificates.RequireGenuine(authority);
    return at;
}

} // namespace

std::optional<FILETIME> ReadTimeStamp(const CSignerInfo& signer, const CCertificateBag& certificates,
                                      const CSignerPolicy& policy) {
    std::optional<FILETIME> at;
    for (const CAttribute& attribute : signer.unsignedAttributes) {
        if (attribute.oid != CounterSignatureOid && attribute.oid != TokenOid)
            throw CRefusal(L"the signature has an attribute that nothing vouches for");
        if (at)
            throw CRefusal(L"the signature has more than one time stamp");
        CDerReader values(attribute.values);
        const CBytesView value = values.Read(DerTag::Sequence).whole;
        values.RequireEnd();
        try {
            at = attribute.oid == TokenOid ? ReadToken(value, signer.signature, policy)
                                           : ReadCounterSignature(value, signer.signature, certificates, policy);
        } catch (const CRefusal& refusal) {
            throw CRefusal(L"the time stamp is not valid: " + refusal.Reason());
        }
    }
    return at;
}
