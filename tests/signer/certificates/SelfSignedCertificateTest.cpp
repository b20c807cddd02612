// Proves what a certificate that signs itself says of itself: SelfSignedCertificate.

#include "asn1/CertificateSyntax.h"
#include "certificates/SelfSignedCertificate.h"
#include "TestAuthority.h"

#include <gtest/gtest.h>

namespace {

TEST(SelfSignedCertificate, ItsSerialNumberIsPositiveAndOfFullLength) {
    for (int i = 0; i < 64; ++i) {
        const CUniqueCertificate certificate = BuildSelfSigned(L"CN=Number", Authority().PublisherProvider());
        const CBytesView serial = ParseCertificate(EncodedBytes(certificate.Get())).serial;
        EXPECT_EQ(16u, serial.size());
        EXPECT_LE(0x40, serial[0]);
        EXPECT_GT(0x80, serial[0]);
    }
}

TEST(SelfSignedCertificate, IsWellFormedAndForCodeSigningAlone) {
    const CUniqueCertificate certificate = BuildSelfSigned(L"CN=Me, O=Here", Authority().PublisherProvider());
    EXPECT_NO_THROW(RequireWellFormedCertificate(EncodedBytes(certificate.Get())));
    EXPECT_EQ(L"CN=Me, O=Here", SubjectOf(certificate.Get()));
    EXPECT_TRUE(IsSelfIssued(certificate.Get()));
    EXPECT_TRUE(HasUsage(certificate.Get(), szOID_PKIX_KP_CODE_SIGNING));
    EXPECT_FALSE(HasUsage(certificate.Get(), szOID_PKIX_KP_TIMESTAMP_SIGNING));
    EXPECT_EQ(CERT_V3, certificate.Get()->pCertInfo->dwVersion);
    EXPECT_TRUE(CryptVerifyCertificateSignature(0, X509_ASN_ENCODING, certificate.Get()->pbCertEncoded,
                                                certificate.Get()->cbCertEncoded,
                                                &certificate.Get()->pCertInfo->SubjectPublicKeyInfo));
    const FILETIME now = HoursFromNow(0);
    const FILETIME later = HoursFromNow(365 * 24 - 1);
    const FILETIME tooLate = HoursFromNow(365 * 24 + 1);
    EXPECT_EQ(0, CertVerifyTimeValidity(const_cast<FILETIME*>(&now), certificate.Get()->pCertInfo));
    EXPECT_EQ(0, CertVerifyTimeValidity(const_cast<FILETIME*>(&later), certificate.Get()->pCertInfo));
    EXPECT_EQ(1, CertVerifyTimeValidity(const_cast<FILETIME*>(&tooLate), certificate.Get()->pCertInfo));
}

} // namespace
