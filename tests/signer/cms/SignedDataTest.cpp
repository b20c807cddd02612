// Proves that nothing in a signature block can be other than it must, whoever signed it: SignedData.

#include "DerWriter.h"
#include "ScriptVerifier.h"
#include "SignedDataEditor.h"
#include "TestAuthority.h"

#include <gtest/gtest.h>

namespace {

constexpr wchar_t Script[] = L"x = 1\r\n";

/// Changes of what no signature covers, in a script that is accepted without them.
TEST(SignedData, WhatTheSignatureDoesNotCoverMustBeAsItIs) {
    const std::wstring text = SignWith(Authority().Publisher(), Script);
    const CUniqueCertificate otherRoot = Authority().IssueRoot(L"CN=Other Root");
    const CUniqueCertificate orphan = Authority().Issue(CodeSigningRequest(L"CN=Orphan"), otherRoot.Get());
    const CUniqueCertificate spare = Authority().Issue(CodeSigningRequest(L"CN=Spare"));
    CBytes broken(spare.Get()->pbCertEncoded, spare.Get()->pbCertEncoded + spare.Get()->cbCertEncoded);
    broken.back() ^= 1;
    const CUniqueCertificate forged(
        CertCreateCertificateContext(X509_ASN_ENCODING, broken.data(), static_cast<DWORD>(broken.size())));
    using Parts = CSignedDataParts;
    const struct {
        const char* what;
        void (*change)(Parts&, PCCERT_CONTEXT);
        PCCERT_CONTEXT certificate;
        std::wstring reason;
    } cases[] = {
        {"nothing", [](Parts&, PCCERT_CONTEXT) {}, nullptr, L"accepted"},
        {"a spare certificate", [](Parts& parts, PCCERT_CONTEXT spare) { parts.AddCertificate(spare); }, spare.Get(),
         L"accepted"},
        {"a forged certificate", [](Parts& parts, PCCERT_CONTEXT forged) { parts.AddCertificate(forged); },
         forged.Get(), L"a certificate in the signature block is not genuine: 'CN=Spare'"},
        {"a certificate of nobody", [](Parts& parts, PCCERT_CONTEXT orphan) { parts.AddCertificate(orphan); },
         orphan.Get(), L"a certificate in the signature block is not genuine: 'CN=Orphan'"},
        {"no certificate", [](Parts& parts, PCCERT_CONTEXT) { parts.certificates = DerSetOf({}, DerTag::Context(0)); },
         nullptr, L"the signer's certificate is missing"},
        {"another signer", [](Parts& parts, PCCERT_CONTEXT) { parts.otherSigner = DerSequence({DerInteger(1)}); },
         nullptr, L"there is more than one signer"},
        {"another version", [](Parts& parts, PCCERT_CONTEXT) { parts.version = DerInteger(3); }, nullptr,
         L"the signature is of an unknown version"},
        {"another signer's version", [](Parts& parts, PCCERT_CONTEXT) { parts.signerVersion = DerInteger(3); }, nullptr,
         L"the signer is not named by issuer and serial number"},
        {"two kinds of digest",
         [](Parts& parts, PCCERT_CONTEXT) {
             parts.digests = DerSetOf({DerAlgorithm(FindDigest(szOID_NIST_sha512)->oid)});
         },
         nullptr, L"the signature names two kinds of digest"},
        {"MD5", [](Parts& parts, PCCERT_CONTEXT) { parts.digests = DerSetOf({DerAlgorithm(szOID_RSA_MD5)}); }, nullptr,
         L"the signature's digest is of an unknown kind"},
        {"another name of the signature algorithm",
         [](Parts& parts, PCCERT_CONTEXT) { parts.signatureAlgorithm = DerAlgorithm(szOID_RSA_SHA256RSA); }, nullptr,
         L"the signature names its algorithm together with its digest"},
        {"another signature algorithm",
         [](Parts& parts, PCCERT_CONTEXT) { parts.signatureAlgorithm = DerAlgorithm(szOID_RSA_SHA512RSA); }, nullptr,
         L"the signature does not match the signer's certificate: it was altered"},
        {"a signature cut short",
         [](Parts& parts, PCCERT_CONTEXT) {
             CBytes octets = parts.SignatureOctets();
             octets.pop_back();
             parts.signature = DerOctets(octets);
         },
         nullptr, L"the signature does not match the signer's certificate: it was altered"},
        {"an unknown attribute", [](Parts& parts, PCCERT_CONTEXT) { parts.AddAttribute("1.2.3.4", DerNull()); },
         nullptr, L"the signature has an attribute that nothing vouches for"},
        {"an empty set of attributes",
         [](Parts& parts, PCCERT_CONTEXT) { parts.unsignedAttributes = DerSetOf({}, DerTag::Context(1)); }, nullptr,
         L"the signature has an empty set of attributes"},
    };
    for (const auto& [what, change, certificate, reason] : cases) {
        CSignedDataParts parts(SignatureOf(text));
        change(parts, certificate);
        const CVerification verification =
            CScriptVerifier().VerifyText(ScriptKind::VBScript, WithSignature(text, parts.Join()));
        EXPECT_EQ(reason, verification.accepted ? L"accepted" : verification.reason) << what;
    }
}

TEST(SignedData, ThirtyTwoCertificatesAreTakenAndNotOneMore) {
    const std::wstring text = SignWith(Authority().Publisher(), Script);
    const auto reason = [&](const CSignedDataParts& parts) {
        const CVerification verification =
            CScriptVerifier().VerifyText(ScriptKind::VBScript, WithSignature(text, parts.Join()));
        return verification.accepted ? L"accepted" : verification.reason;
    };
    CSignedDataParts parts(SignatureOf(text));
    for (int i = 1; i < 32; ++i)
        parts.AddCertificate(Authority().Issue(CodeSigningRequest(L"CN=Spare " + std::to_wstring(i))).Get());
    EXPECT_EQ(L"accepted", reason(parts));
    parts.AddCertificate(Authority().Issue(CodeSigningRequest(L"CN=Spare 32")).Get());
    EXPECT_EQ(L"there are too many certificates in the signature block", reason(parts));
}

TEST(SignedData, ASignatureThatBeginsWithAZeroMustNotBeShortenedByIt) {
    // One of 256 begins so; the chance to find none in so many is one in ten to the 34th.
    for (int i = 0; i < 20'000; ++i) {
        const std::wstring script = L"x = " + std::to_wstring(i) + L"\r\n";
        const std::wstring text = SignWith(Authority().Publisher(), script);
        CSignedDataParts parts(SignatureOf(text));
        CBytes octets = parts.SignatureOctets();
        if (octets.front() != 0)
            continue;
        EXPECT_TRUE(CScriptVerifier().VerifyText(ScriptKind::VBScript, text).accepted);
        octets.erase(octets.begin());
        parts.signature = DerOctets(octets);
        EXPECT_EQ(L"the signature does not match the signer's certificate: it was altered",
                  CScriptVerifier().VerifyText(ScriptKind::VBScript, WithSignature(text, parts.Join())).reason);
        return;
    }
    FAIL() << "no signature began with a zero";
}

TEST(SignedData, OneMadeWithSha1CountsOnlyWhereAsked) {
    const CDigestAlgorithm& sha1 = *FindDigest(szOID_OIWSEC_sha1);
    const std::wstring text = SignWith(Authority().Publisher(), Script);
    CSignedDataParts parts(SignatureOf(text));
    const CBytes signature = SignatureOf(text);
    const CBytes contentDigest = ComputeDigest(sha1, ParseSignedData(signature).covered);
    CBytes set = DerSetOf({Attribute(szOID_RSA_contentType, DerOid("1.3.6.1.4.1.311.2.1.4")),
                           Attribute(szOID_RSA_messageDigest, DerOctets(contentDigest))});
    parts.signature = DerOctets(Authority().PublisherKey().Sign(sha1, set));
    set.front() = DerTag::Context(0);
    parts.signedAttributes = set;
    parts.digests = DerSetOf({DerAlgorithm(sha1.oid)});
    parts.signerDigest = DerAlgorithm(sha1.oid);
    const std::wstring changed = WithSignature(text, parts.Join());
    const CVerification refused = CScriptVerifier().VerifyText(ScriptKind::VBScript, changed);
    EXPECT_EQ(L"the signature is made with SHA-1, which this machine does not accept", refused.reason);
    const CPolicyValue asked(L"AcceptSha1", 1ul);
    const CVerification accepted = CScriptVerifier().VerifyText(ScriptKind::VBScript, changed);
    EXPECT_TRUE(accepted.accepted) << testing::PrintToString(accepted.reason);
}

} // namespace
