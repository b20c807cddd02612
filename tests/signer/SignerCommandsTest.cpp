// Proves the work behind the signing commands, on the stores of machine and user: SignerCommands.

#include "ChildProgram.h"
#include "common/Base64.h"
#include "common/SignerErrors.h"
#include "ScriptVerifier.h"
#include "SignerCommands.h"
#include "TempFolder.h"
#include "TestAuthority.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace {

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

/// In the environment, for a scope.
class CPfxPassword {
public:
    explicit CPfxPassword(const std::wstring& password) { _wputenv((L"QUORLINE_PFX_PASSWORD=" + password).c_str()); }
    CPfxPassword(const CPfxPassword&) = delete;
    CPfxPassword& operator=(const CPfxPassword&) = delete;
    ~CPfxPassword() { _wputenv(L"QUORLINE_PFX_PASSWORD="); }
};

/// What the call throws, or nothing.
template <class Call> std::wstring ErrorOf(Call call) {
    try {
        call();
        return {};
    } catch (const CSignerError& error) {
        return error.Text();
    }
}

TEST(SignerCommands, ACertificateOfTheStoreIsFoundByItsThumbprint) {
    const std::wstring thumbprint = ThumbprintOf(Authority().Publisher());
    {
        const CStoredCertificate own(L"My", Authority().Publisher(), HKEY_CURRENT_USER);
        EXPECT_EQ(thumbprint, ThumbprintOf(FindSigningCertificate(L"", thumbprint).Get()));
    }
    EXPECT_NE(L"", ErrorOf([&] { FindSigningCertificate(L"", thumbprint); }));
}

TEST(SignerCommands, AMissingPasswordIsToldByTheNameOfItsVariable) {
    const CTempFolder folder;
    const std::wstring path = folder.Write(L"no.pfx", "no");
    EXPECT_EQ(L"cannot read '" + path + L"': it is no .pfx file, or it has a password; set QUORLINE_PFX_PASSWORD to it",
              ErrorOf([&] { FindSigningCertificate(path, L""); }));
    const CPfxPassword given(L"given");
    EXPECT_EQ(L"cannot read '" + path + L"': it is no .pfx file, or its password is another",
              ErrorOf([&] { FindSigningCertificate(path, L""); }));
}

TEST(SignerCommands, AFileWithoutCertificatesIsNamed) {
    const CTempFolder folder;
    const std::wstring der = folder.Write(L"no.cer", "no");
    const std::wstring pem = folder.Write(L"no.pem", "-----BEGIN CERTIFICATE-----\nAAAA");
    for (const std::wstring& path : {der, pem})
        EXPECT_EQ(L"'" + path + L"' is no certificate", ErrorOf([&] { ReadCertificates(path); }));
}

TEST(SignerCommands, EveryCertificateOfAFileIsReadInItsOrder) {
    const CTempFolder folder;
    const CUniqueCertificate other = Authority().Issue(CodeSigningRequest(L"CN=Other"));
    const PCCERT_CONTEXT expected[] = {Authority().Publisher(), other.Get(), Authority().Root()};
    std::string pem = "# three\n";
    for (const PCCERT_CONTEXT certificate : expected)
        pem += Pem(certificate) + "in between\n";
    const std::vector<CUniqueCertificate> read = ReadCertificates(folder.Write(L"three.pem", pem));
    ASSERT_EQ(read.size(), std::size(expected));
    for (std::size_t i = 0; i < read.size(); ++i)
        EXPECT_EQ(ThumbprintOf(read[i].Get()), ThumbprintOf(expected[i]));
}

/// Takes a certificate out of a store at the end.
class CTakenOut {
public:
    CTakenOut(HKEY where, const wchar_t* store, PCCERT_CONTEXT certificate)
        : m_where(where), m_store(store), m_certificate(ShareCertificate(certificate)) {}
    CTakenOut(const CTakenOut&) = delete;
    CTakenOut& operator=(const CTakenOut&) = delete;
    ~CTakenOut() { RemoveFromStore(m_where, m_store, m_certificate.Get()); }

private:
    HKEY m_where;
    std::wstring m_store;
    CUniqueCertificate m_certificate;
};

TEST(SignerCommands, TrustStoresRootsAndPublishersWhereTheyBelongAndDistrustTakesThemOut) {
    // Not called as the test root: a chain could end in the one or the other.
    const CUniqueCertificate root = Authority().IssueRoot(L"CN=Quorline Other Test Root");
    const CUniqueCertificate leaf = Authority().Issue(CodeSigningRequest(L"CN=Leaf"), root.Get());
    CCertificateRequest server = CodeSigningRequest(L"CN=Server");
    server.usages = {szOID_PKIX_KP_SERVER_AUTH};
    const CUniqueCertificate useless = Authority().Issue(server);
    const CTakenOut rootTakenOut(HKEY_LOCAL_MACHINE, L"Root", root.Get());
    const CTakenOut leafTakenOut(HKEY_LOCAL_MACHINE, L"TrustedPublisher", leaf.Get());
    const CTempFolder folder;

    for (const std::wstring& path : {folder.Write(L"root.cer", Text(EncodedBytes(root.Get()))),
                                     folder.Write(L"both.pem", "# two\n" + Pem(leaf.Get()) + Pem(useless.Get()))})
        for (const CUniqueCertificate& certificate : ReadCertificates(path))
            TrustCertificate(certificate.Get(), PlacesFor(certificate.Get()));
    EXPECT_TRUE(MachineHolds(L"Root", root.Get()));
    EXPECT_FALSE(MachineHolds(L"TrustedPublisher", root.Get()));
    EXPECT_TRUE(MachineHolds(L"TrustedPublisher", leaf.Get()));
    EXPECT_FALSE(MachineHolds(L"Root", leaf.Get()));
    EXPECT_FALSE(MachineHolds(L"TrustedPublisher", useless.Get()));
    EXPECT_FALSE(MachineHolds(L"Root", useless.Get()));

    EXPECT_EQ(DistrustCertificate(root.Get()), (CTrustPlaces{true, false}));
    EXPECT_EQ(DistrustCertificate(leaf.Get()), (CTrustPlaces{false, true}));
    EXPECT_EQ(DistrustCertificate(useless.Get()), (CTrustPlaces{false, false}));
    EXPECT_EQ(FindTrust(root.Get()), (CTrustPlaces{false, false}));
    EXPECT_EQ(FindTrust(leaf.Get()), (CTrustPlaces{false, false}));
}

/// Deletes the key of a development certificate at the end.
class CDeletedKey {
public:
    explicit CDeletedKey(PCCERT_CONTEXT certificate) : m_certificate(ShareCertificate(certificate)) {}
    CDeletedKey(const CDeletedKey&) = delete;
    CDeletedKey& operator=(const CDeletedKey&) = delete;
    ~CDeletedKey() {
        DWORD size = 0;
        CertGetCertificateContextProperty(m_certificate.Get(), CERT_KEY_PROV_INFO_PROP_ID, nullptr, &size);
        CBytes info(size);
        if (CertGetCertificateContextProperty(m_certificate.Get(), CERT_KEY_PROV_INFO_PROP_ID, info.data(), &size))
            DeleteRsaKey(reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(info.data())->pwszContainerName);
    }

private:
    CUniqueCertificate m_certificate;
};

TEST(SignerCommands, ADevelopmentCertificateIsForCodeSigningOnlyAndTrustedByNobody) {
    const CTempFolder folder;
    const std::wstring path = folder.Path(L"dev.cer");
    const CUniqueCertificate made = WriteDevelopmentCertificate(path);
    const CDeletedKey deletedKey(made.Get());
    const CTakenOut takenOut(HKEY_CURRENT_USER, L"My", made.Get());
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
}

TEST(SignerCommands, TheLastThirtyDaysOfACertificateAreWarnedOf) {
    const struct {
        long long hours;
        const char* warning;
    } cases[] = {{24LL * 31, ""},
                 {24LL * 30 - 1, "the certificate ends in 29 days, on 20"},
                 {24LL * 2 - 1, "the certificate ends in 1 day, on 20"},
                 {1, "the certificate ends in 0 days, on 20"}};
    const CTempFolder folder;
    for (const auto& [hours, warning] : cases) {
        CCertificateRequest request = CodeSigningRequest(L"CN=Ending");
        request.notAfter = HoursFromNow(hours);
        const CUniqueCertificate certificate = Authority().Issue(request);
        const CStoredCertificate publisher(L"TrustedPublisher", certificate.Get());
        const std::wstring text = SignWith(certificate.Get(), L"x = 1\r\n");
        const std::wstring script = folder.Write(L"save.vbs", std::string(text.begin(), text.end()));
        const CProgramResult result =
            RunProgram(L"\"" + ProgramFolder() + L"\\quorline-sign.exe\" verify \"" + script + L"\"");
        EXPECT_EQ(0u, result.exitCode) << result.err;
        EXPECT_THAT(result.out, testing::HasSubstr("signed by CN=Ending ("));
        if (*warning == '\0')
            EXPECT_EQ("", result.err);
        else
            EXPECT_THAT(result.err, testing::AllOf(testing::HasSubstr("warning: "), testing::HasSubstr(warning),
                                                   testing::HasSubstr("; sign it again with a new one before")))
                << hours;
    }
}

} // namespace
