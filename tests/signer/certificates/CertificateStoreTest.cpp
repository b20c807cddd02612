// Proves that stores are searched for a certificate itself and that its name fits one line: CertificateStore.

#include "certificates/CertificateStore.h"
#include "TestAuthority.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

TEST(CertificateStore, ACertificateOfTheSameNameAndNumberIsNotTheTrustedOne) {
    const CUniqueCertificate trusted = Authority().Issue(CodeSigningRequest(L"CN=Twin"));
    const CStoredCertificate stored(L"TrustedPublisher", trusted.Get());
    CBytes twin(trusted.Get()->pbCertEncoded, trusted.Get()->pbCertEncoded + trusted.Get()->cbCertEncoded);
    twin.back() ^= 1;
    const CUniqueCertificate forged(
        CertCreateCertificateContext(X509_ASN_ENCODING, twin.data(), static_cast<DWORD>(twin.size())));
    const CUniqueStore store = OpenSystemStore(CERT_SYSTEM_STORE_LOCAL_MACHINE, L"TrustedPublisher");
    EXPECT_TRUE(StoreHolds(store.Get(), trusted.Get()));
    EXPECT_FALSE(StoreHolds(store.Get(), forged.Get()));
}

TEST(CertificateStore, ASubjectCannotForgeALineOfTheLog) {
    const CUniqueCertificate honest = Authority().Issue(CodeSigningRequest(L"CN=Two#Lines"));
    CBytes bytes(honest.Get()->pbCertEncoded, honest.Get()->pbCertEncoded + honest.Get()->cbCertEncoded);
    std::ranges::replace(bytes.begin() + 40, bytes.begin() + 300, BYTE{'#'}, BYTE{'\n'});
    const CUniqueCertificate forged(
        CertCreateCertificateContext(X509_ASN_ENCODING, bytes.data(), static_cast<DWORD>(bytes.size())));
    ASSERT_TRUE(forged);
    const std::wstring subject = SubjectOf(forged.Get());
    EXPECT_NE(std::wstring::npos, subject.find(L"Two?Lines")) << testing::PrintToString(subject);
    EXPECT_EQ(std::wstring::npos, subject.find(L'\n'));
}

TEST(CertificateStore, ASubjectCannotBreakALineWithAnyCharacter) {
    for (const wchar_t character : {L'\x2028', L'\x2029', L'\x0085', L'\x007F', L'\x0001', L'\t'}) {
        const std::wstring name = std::wstring(L"CN=Two") + character + L"Lines";
        EXPECT_EQ(L"CN=Two?Lines", SubjectOf(Authority().Issue(CodeSigningRequest(name)).Get()))
            << static_cast<int>(character);
    }
    const std::wstring harmless = L"A\x202A\x2027\x00E4Z";
    EXPECT_NE(std::wstring::npos,
              SubjectOf(Authority().Issue(CodeSigningRequest(L"CN=" + harmless)).Get()).find(harmless));
}

} // namespace
