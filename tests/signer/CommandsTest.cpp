#include "cms/SignatureBlock.h"
#include "common/SignerErrors.h"
#include "ScriptVerifier.h"
#include "SignerCommands.h"
#include "TempFolder.h"
#include "TestAuthority.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

CTestAuthority& Authority() {
    return CTestAuthority::Instance();
}

bool MachineHolds(const wchar_t* store, PCCERT_CONTEXT certificate) {
    return StoreHolds(OpenSystemStore(CERT_SYSTEM_STORE_LOCAL_MACHINE, store).Get(), certificate);
}

std::string Text(CBytesView bytes) {
    return {bytes.begin(), bytes.end()};
}

std::string Pem(PCCERT_CONTEXT certificate) {
    const std::wstring base64 = EncodeBase64(EncodedBytes(certificate));
    std::string pem = "-----BEGIN CERTIFICATE-----\n";
    for (std::size_t at = 0; at < base64.size(); at += 64)
        pem += std::string(base64.begin() + static_cast<std::ptrdiff_t>(at),
                           base64.begin() + static_cast<std::ptrdiff_t>(std::min(at + 64, base64.size()))) +
               "\n";
    return pem + "-----END CERTIFICATE-----\n";
}

/// What the call throws, or nothing.
template <class Call> std::wstring ErrorOf(Call call) {
    try {
        call();
        return {};
    } catch (const CSignerError& error) {
        return error.Text();
    }
}

TEST(Commands, ACertificateOfTheStoreIsFoundByItsThumbprint) {
    AddToStore(OpenSystemStore(CERT_SYSTEM_STORE_CURRENT_USER, L"My", StoreAccess::Write).Get(),
               Authority().Publisher());
    const std::wstring thumbprint = ThumbprintOf(Authority().Publisher());
    EXPECT_EQ(thumbprint, ThumbprintOf(FindSigningCertificate(L"", thumbprint).Get()));
    RemoveFromStore(HKEY_CURRENT_USER, L"My", Authority().Publisher());
    EXPECT_NE(L"", ErrorOf([&] { FindSigningCertificate(L"", thumbprint); }));
}

TEST(Commands, AMissingPasswordIsToldByTheNameOfItsVariable) {
    const CTempFolder folder;
    const std::wstring path = folder.Write(L"no.pfx", "no");
    EXPECT_EQ(L"cannot read '" + path + L"': it is no .pfx file, or it has a password; set QUORLINE_PFX_PASSWORD to it",
              ErrorOf([&] { FindSigningCertificate(path, L""); }));
    _wputenv(L"QUORLINE_PFX_PASSWORD=given");
    EXPECT_EQ(L"cannot read '" + path + L"': it is no .pfx file, or its password is another",
              ErrorOf([&] { FindSigningCertificate(path, L""); }));
    _wputenv(L"QUORLINE_PFX_PASSWORD=");
}

TEST(Commands, AFileWithoutCertificatesIsNamed) {
    const CTempFolder folder;
    const std::wstring der = folder.Write(L"no.cer", "no");
    const std::wstring pem = folder.Write(L"no.pem", "-----BEGIN CERTIFICATE-----\nAAAA");
    for (const std::wstring& path : {der, pem})
        EXPECT_EQ(L"'" + path + L"' is no certificate", ErrorOf([&] { ReadCertificates(path); }));
}

TEST(Commands, TrustStoresRootsAndPublishersWhereTheyBelong) {
    const CUniqueCertificate root = Authority().IssueRoot(L"CN=Quorline Test Root");
    const CUniqueCertificate leaf = Authority().Issue(CodeSigningRequest(L"CN=Leaf"), root.Get());
    CCertificateRequest server = CodeSigningRequest(L"CN=Server");
    server.usages = {szOID_PKIX_KP_SERVER_AUTH};
    const CUniqueCertificate useless = Authority().Issue(server);
    const CTempFolder folder;

    for (const std::wstring& path : {folder.Write(L"root.cer", Text(EncodedBytes(root.Get()))),
                                     folder.Write(L"both.pem", "# two\n" + Pem(leaf.Get()) + Pem(useless.Get()))})
        for (const CUniqueCertificate& certificate : ReadCertificates(path))
            TrustCertificate(certificate.Get(), CTrustPlaces(certificate.Get()));
    EXPECT_TRUE(MachineHolds(L"Root", root.Get()));
    EXPECT_FALSE(MachineHolds(L"TrustedPublisher", root.Get()));
    EXPECT_TRUE(MachineHolds(L"TrustedPublisher", leaf.Get()));
    EXPECT_FALSE(MachineHolds(L"Root", leaf.Get()));
    EXPECT_FALSE(MachineHolds(L"TrustedPublisher", useless.Get()));
    EXPECT_FALSE(MachineHolds(L"Root", useless.Get()));
}

TEST(Commands, ADevelopmentCertificateIsForCodeSigningOnlyAndTrustedByNobody) {
    const CTempFolder folder;
    const std::wstring path = folder.Path(L"dev.cer");
    const CUniqueCertificate made = WriteDevelopmentCertificate(path);
    const std::string bytes = folder.Read(L"dev.cer");
    const CUniqueCertificate certificate(CertCreateCertificateContext(
        X509_ASN_ENCODING, reinterpret_cast<const BYTE*>(bytes.data()), static_cast<DWORD>(bytes.size())));
    ASSERT_TRUE(certificate);
    const std::wstring thumbprint = ThumbprintOf(certificate.Get());
    EXPECT_EQ(thumbprint, ThumbprintOf(made.Get()));
    EXPECT_EQ(L"CN=Quorline Development", SubjectOf(certificate.Get()));
    EXPECT_TRUE(HasUsage(certificate.Get(), szOID_PKIX_KP_CODE_SIGNING));
    EXPECT_FALSE(MachineHolds(L"Root", certificate.Get()));
    EXPECT_FALSE(MachineHolds(L"TrustedPublisher", certificate.Get()));

    const CSigningCertificate found = CSigningCertificate::FromStore(thumbprint, L"");
    const std::wstring text = CScriptSignerCore(found).SignText(ScriptKind::VBScript, L"x");
    EXPECT_EQ(L"the certificate leads to a root that this machine does not trust",
              CScriptVerifier().VerifyText(ScriptKind::VBScript, text).reason);

    // Nothing of it stays behind.
    DWORD size = 0;
    CertGetCertificateContextProperty(found.Get(), CERT_KEY_PROV_INFO_PROP_ID, nullptr, &size);
    std::vector<BYTE> info(size);
    CertGetCertificateContextProperty(found.Get(), CERT_KEY_PROV_INFO_PROP_ID, info.data(), &size);
    DeleteRsaKey(reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(info.data())->pwszContainerName);
    RemoveFromStore(HKEY_CURRENT_USER, L"My", certificate.Get());
}

} // namespace
