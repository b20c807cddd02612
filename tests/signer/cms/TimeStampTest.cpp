// Proves which time stamps count and which spoil the signature: TimeStamp.

#include "ChildProgram.h"
#include "common/Clock.h"
#include "DerWriter.h"
#include "ScriptVerifier.h"
#include "SignedDataEditor.h"
#include "TestAuthority.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

constexpr wchar_t Script[] = L"x = 1\r\n";
constexpr const char* TokenOid = "1.3.6.1.4.1.311.3.3.1";
constexpr const char* TokenInfoOid = "1.2.840.113549.1.9.16.1.4";

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

TEST_F(TimeStamp, TheCommandTellsItAndWarnsOfNoEnd) {
    const CTempFolder folder;
    const std::wstring text = WithSignature(m_text, Stamped(m_then, m_authority.Get()).Join());
    const std::wstring script = folder.Write(L"save.vbs", std::string(text.begin(), text.end()));
    const CProgramResult result =
        RunProgram(L"\"" + ProgramFolder() + L"\\quorline-sign.exe\" verify \"" + script + L"\"");
    EXPECT_EQ(0u, result.exitCode) << result.err;
    EXPECT_THAT(result.out, testing::HasSubstr(", time stamp 20"));
    EXPECT_EQ("", result.err);
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
    const std::wstring refused = L"the time stamp is not valid: it lies in the future";
    const struct {
        long long minutes;
        std::wstring reason;
    } cases[] = {{5, L"accepted"}, {9, L"accepted"}, {15, refused}};
    for (const auto& [minutes, reason] : cases) {
        const FILETIME ahead = FromNow(std::chrono::minutes(minutes));
        EXPECT_EQ(reason, ReasonAgainst(CounterSigned(ahead, m_authority.Get()))) << minutes;
        EXPECT_EQ(reason, ReasonAgainst(Stamped(ahead, m_authority.Get()))) << minutes;
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

} // namespace
