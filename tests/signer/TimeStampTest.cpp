#include "ScriptVerifier.h"
#include "SignedDataEditor.h"
#include "TestAuthority.h"

#include <gtest/gtest.h>

namespace {

constexpr wchar_t Script[] = L"x = 1\r\n";
constexpr const char* TokenOid = "1.3.6.1.4.1.311.3.3.1";
constexpr const char* TokenInfoOid = "1.2.840.113549.1.9.16.1.4";

CTestAuthority& Authority() {
    return CTestAuthority::Instance();
}

CBytes Attribute(std::string_view oid, const CBytes& value) {
    return DerSequence({DerOid(oid), DerElement(DerTag::Set, {value})});
}

/// A signer's entry for content of this type and digest. All certificates here have the publisher's key.
CBytes SignerInfo(PCCERT_CONTEXT certificate, const char* contentType, const CBytes& contentDigest,
                  std::vector<CBytes> attributes = {}) {
    attributes.push_back(Attribute(szOID_RSA_contentType, DerOid(contentType)));
    attributes.push_back(Attribute(szOID_RSA_messageDigest, DerOctets(contentDigest)));
    CBytes set = DerSetOf(std::move(attributes));
    const CBytes signature = Authority().PublisherKey().Sign(Sha256, set);
    set.front() = DerTag::Context(0);
    const CCertificateFields fields = ParseCertificate(EncodedBytes(certificate));
    return DerSequence({DerInteger(1), DerSequence({fields.issuer, DerElement(DerTag::Integer, {fields.serial})}),
                        DerAlgorithm(Sha256.oid), set, DerAlgorithm(szOID_RSA_RSA), DerOctets(signature)});
}

CBytes CounterSignature(PCCERT_CONTEXT authority, const CBytes& stamped, const FILETIME& at) {
    return SignerInfo(authority, szOID_RSA_data, ComputeDigest(Sha256, stamped),
                      {Attribute(szOID_RSA_signingTime, DerTime(at))});
}

CBytes Token(PCCERT_CONTEXT authority, const CBytes& stamped, const FILETIME& at) {
    CBytes time = DerTime(at);
    time.insert(time.begin() + 2, {'2', '0'});
    time[0] = DerTag::GeneralizedTime;
    time[1] = static_cast<BYTE>(time[1] + 2);
    const CBytes info = DerSequence({DerInteger(1), DerOid("1.2.3.4"),
                                     DerSequence({DerAlgorithm(Sha256.oid), DerOctets(ComputeDigest(Sha256, stamped))}),
                                     DerInteger(77), time});
    const CBytes data =
        DerSequence({DerInteger(3), DerElement(DerTag::Set, {DerAlgorithm(Sha256.oid)}),
                     DerSequence({DerOid(TokenInfoOid), DerElement(DerTag::Context(0), {DerOctets(info)})}),
                     DerElement(DerTag::Context(0), {EncodedBytes(authority)}),
                     DerElement(DerTag::Set, {SignerInfo(authority, TokenInfoOid, ComputeDigest(Sha256, info))})});
    return DerSequence({DerOid(szOID_RSA_signedData), DerElement(DerTag::Context(0), {data})});
}

/// A script signed while its certificate was valid, 75 hours ago; the certificate ended 50 hours ago.
class TimeStamp : public testing::Test {
protected:
    TimeStamp() {
        CCertificateRequest request = CodeSigningRequest(L"CN=Ended");
        request.notBefore = HoursFromNow(-100);
        request.notAfter = HoursFromNow(-50);
        m_publisher = Authority().Issue(request);
        m_trust = std::make_unique<CStoredCertificate>(L"TrustedPublisher", m_publisher.Get());
        m_authority = Authority().Issue(StampRequest());
        m_text = SignWith(m_publisher.Get(), Script);
    }

    static CCertificateRequest StampRequest() {
        return {L"CN=Clock", HoursFromNow(-200), HoursFromNow(200), {szOID_PKIX_KP_TIMESTAMP_SIGNING}, false, {}};
    }

    CVerification Verify(const CSignedDataParts& parts) const {
        return CScriptVerifier().VerifyText(ScriptKind::VBScript, WithSignature(m_text, parts.Join()));
    }
    std::wstring ReasonAgainst(const CSignedDataParts& parts) const {
        const CVerification verification = Verify(parts);
        return verification.accepted ? L"accepted" : verification.reason;
    }
    CSignedDataParts Parts() const { return CSignedDataParts(SignatureOf(m_text)); }
    CSignedDataParts CounterSigned(const FILETIME& at, PCCERT_CONTEXT authority) const {
        CSignedDataParts parts = Parts();
        parts.AddCertificate(authority);
        parts.AddAttribute(szOID_RSA_counterSign, CounterSignature(authority, parts.SignatureOctets(), at));
        return parts;
    }
    CSignedDataParts Stamped(const FILETIME& at, PCCERT_CONTEXT authority) const {
        CSignedDataParts parts = Parts();
        parts.AddAttribute(TokenOid, Token(authority, parts.SignatureOctets(), at));
        return parts;
    }

    CUniqueCertificate m_publisher;
    CUniqueCertificate m_authority;
    std::unique_ptr<CStoredCertificate> m_trust;
    std::wstring m_text;
    FILETIME m_then = HoursFromNow(-75);
};

TEST_F(TimeStamp, WithoutOneAnEndedCertificateIsRefused) {
    EXPECT_EQ(L"the certificate has expired or is not valid yet", ReasonAgainst(Parts()));
}

TEST_F(TimeStamp, ACounterSignatureKeepsAScriptValidAfterItsCertificateHasEnded) {
    const CVerification verification = Verify(CounterSigned(m_then, m_authority.Get()));
    EXPECT_TRUE(verification.accepted) << testing::PrintToString(verification.reason);
    ASSERT_TRUE(verification.stampedAt);
    // Whole seconds are stamped.
    EXPECT_EQ(m_then.dwHighDateTime, verification.stampedAt->dwHighDateTime);
}

TEST_F(TimeStamp, ATokenKeepsAScriptValidAfterItsCertificateHasEnded) {
    const CVerification verification = Verify(Stamped(m_then, m_authority.Get()));
    EXPECT_TRUE(verification.accepted) << testing::PrintToString(verification.reason);
    EXPECT_TRUE(verification.stampedAt);
}

TEST_F(TimeStamp, OutsideTheCertificatesTimeItDoesNotHelp) {
    const std::wstring expired = L"the certificate has expired or is not valid yet";
    for (const long long hours : {-150, -49, -1}) {
        EXPECT_EQ(expired, ReasonAgainst(CounterSigned(HoursFromNow(hours), m_authority.Get()))) << hours;
        EXPECT_EQ(expired, ReasonAgainst(Stamped(HoursFromNow(hours), m_authority.Get()))) << hours;
    }
}

TEST_F(TimeStamp, InTheFutureItIsRefused) {
    EXPECT_EQ(L"the time stamp is not valid: it lies in the future",
              ReasonAgainst(CounterSigned(HoursFromNow(1), m_authority.Get())));
}

TEST_F(TimeStamp, ClocksMayDifferByTenMinutes) {
    m_text = SignWith(Authority().Publisher(), Script);
    const auto minutesAhead = [](long long minutes) {
        const FILETIME now = HoursFromNow(0);
        ULARGE_INTEGER time{{now.dwLowDateTime, now.dwHighDateTime}};
        time.QuadPart += static_cast<ULONGLONG>(minutes * 60 * 10'000'000);
        return FILETIME{time.LowPart, time.HighPart};
    };
    const std::wstring refused = L"the time stamp is not valid: it lies in the future";
    const struct {
        long long minutes;
        std::wstring reason;
    } cases[] = {{5, L"accepted"}, {9, L"accepted"}, {15, refused}};
    for (const auto& [minutes, reason] : cases) {
        EXPECT_EQ(reason, ReasonAgainst(CounterSigned(minutesAhead(minutes), m_authority.Get()))) << minutes;
        EXPECT_EQ(reason, ReasonAgainst(Stamped(minutesAhead(minutes), m_authority.Get()))) << minutes;
    }
}

TEST_F(TimeStamp, TheAuthorityMustBeTrustedForTimeStampingAtThatTime) {
    CCertificateRequest ended = StampRequest();
    ended.notAfter = HoursFromNow(-80);
    CCertificateRequest codeSigning = StampRequest();
    codeSigning.usages = {szOID_PKIX_KP_CODE_SIGNING};
    const CUniqueCertificate otherRoot = Authority().IssueRoot(L"CN=Other Root");
    const struct {
        CUniqueCertificate authority;
        std::wstring reason;
    } cases[] = {
        {Authority().Issue(ended), L"the certificate has expired or is not valid yet"},
        {Authority().Issue(codeSigning), L"the certificate is not meant for this usage"},
        {Authority().Issue(StampRequest(), otherRoot.Get()), L"the certificate does not lead to a root certificate"},
    };
    for (const auto& [authority, reason] : cases) {
        EXPECT_EQ(L"the time stamp is not valid: " + reason, ReasonAgainst(CounterSigned(m_then, authority.Get())));
        EXPECT_EQ(L"the time stamp is not valid: " + reason, ReasonAgainst(Stamped(m_then, authority.Get())));
    }
}

TEST_F(TimeStamp, OneOfAnotherSignatureIsRefused) {
    CSignedDataParts counterSigned = Parts();
    counterSigned.AddCertificate(m_authority.Get());
    counterSigned.AddAttribute(szOID_RSA_counterSign,
                               CounterSignature(m_authority.Get(), CBytes(256, BYTE{1}), m_then));
    EXPECT_EQ(L"the time stamp is not valid: the signed content was altered", ReasonAgainst(counterSigned));
    CSignedDataParts stamped = Parts();
    stamped.AddAttribute(TokenOid, Token(m_authority.Get(), CBytes(256, BYTE{1}), m_then));
    EXPECT_EQ(L"the time stamp is not valid: it belongs to another signature", ReasonAgainst(stamped));
}

TEST_F(TimeStamp, OneThatDoesNotHoldIsRefusedThoughTheCertificateStillRuns) {
    m_text = SignWith(Authority().Publisher(), Script);
    EXPECT_EQ(L"accepted", ReasonAgainst(Parts()));
    CSignedDataParts parts = Parts();
    parts.AddAttribute(TokenOid, Token(m_authority.Get(), CBytes(256, BYTE{1}), m_then));
    EXPECT_EQ(L"the time stamp is not valid: it belongs to another signature", ReasonAgainst(parts));
}

TEST_F(TimeStamp, TwoAreRefused) {
    CSignedDataParts parts = CounterSigned(m_then, m_authority.Get());
    parts.AddAttribute(TokenOid, Token(m_authority.Get(), parts.SignatureOctets(), m_then));
    EXPECT_EQ(L"the signature has more than one time stamp", ReasonAgainst(parts));
}

TEST_F(TimeStamp, OneChangedByteAnywhereInItIsRefused) {
    for (const CSignedDataParts& good :
         {CounterSigned(m_then, m_authority.Get()), Stamped(m_then, m_authority.Get())}) {
        ASSERT_EQ(L"accepted", ReasonAgainst(good));
        for (std::size_t i = 0; i < 200; ++i) {
            CBytes bad = good.Join();
            const std::size_t place = bad.size() - 1 - i * good.unsignedAttributes.size() / 200;
            bad[place] ^= static_cast<BYTE>(1 << i % 8);
            EXPECT_FALSE(CScriptVerifier().VerifyText(ScriptKind::VBScript, WithSignature(m_text, bad)).accepted)
                << place;
        }
    }
}

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
