#include "LogCapture.h"
#include "ScratchFolder.h"
#include "ScriptVerifier.h"
#include "TestAuthority.h"

#include <gtest/gtest.h>

namespace {

CTestAuthority& Authority() {
    return CTestAuthority::Instance();
}

/// A list of the test root that names one certificate.
std::string RevocationList(PCCERT_CONTEXT revoked) {
    const CCertificateFields fields = ParseCertificate(EncodedBytes(revoked));
    const CBytes algorithm = DerAlgorithm(szOID_RSA_SHA256RSA);
    const CBytes list = DerSequence(
        {DerInteger(1), algorithm, fields.issuer, DerTime(HoursFromNow(-1)), DerTime(HoursFromNow(100)),
         DerSequence({DerSequence({DerElement(DerTag::Integer, {fields.serial}), DerTime(HoursFromNow(-1))})})});
    const CBytes bytes = DerSequence({list, algorithm, DerBitString(Authority().RootKey().Sign(Sha256, list))});
    return {bytes.begin(), bytes.end()};
}

std::string UrlOf(const std::wstring& path) {
    std::string url = "file:///";
    for (const wchar_t character : path)
        url += character == L'\\' ? '/' : static_cast<char>(character);
    return url;
}

std::wstring ReasonAgainst(PCCERT_CONTEXT certificate) {
    const CStoredCertificate trusted(L"TrustedPublisher", certificate);
    const CVerification verification =
        CScriptVerifier().VerifyText(ScriptKind::VBScript, SignWith(certificate, L"x = 1\r\n"));
    return verification.accepted ? L"accepted" : verification.reason;
}

TEST(Revocation, ACertificateOnAReachableListIsRefused) {
    const CScratchFolder folder;
    CCertificateRequest request = CodeSigningRequest(L"CN=Revoked");
    request.revocationListUrl = UrlOf(folder.Path(L"revoked.crl"));
    const CUniqueCertificate revoked = Authority().Issue(request);
    folder.Write(L"revoked.crl", RevocationList(revoked.Get()));
    EXPECT_EQ(L"the certificate was revoked", ReasonAgainst(revoked.Get()));
}

TEST(Revocation, ACertificateThatTheListDoesNotNameIsAccepted) {
    const CScratchFolder folder;
    CCertificateRequest request = CodeSigningRequest(L"CN=Innocent");
    request.revocationListUrl = UrlOf(folder.Path(L"others.crl"));
    const CUniqueCertificate innocent = Authority().Issue(request);
    folder.Write(L"others.crl", RevocationList(Authority().Publisher()));
    EXPECT_EQ(L"accepted", ReasonAgainst(innocent.Get()));
}

TEST(Revocation, AListThatCannotBeReachedDoesNotCount) {
    const CScratchFolder folder;
    CCertificateRequest request = CodeSigningRequest(L"CN=Offline");
    request.revocationListUrl = UrlOf(folder.Path(L"missing.crl"));
    EXPECT_EQ(L"accepted", ReasonAgainst(Authority().Issue(request).Get()));
}

} // namespace
