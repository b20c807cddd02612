#include "ScratchFolder.h"
#include "ScriptVerifier.h"
#include "SignatureBlock.h"
#include "SignerCommands.h"
#include "TestAuthority.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace {

CTestAuthority& Authority() {
    return CTestAuthority::Instance();
}

struct COutcome {
    int code;
    std::wstring out;
    std::wstring err;
};

COutcome Call(int (*command)(const CArguments&, std::wostream&, std::wostream&), const CArguments& arguments) {
    std::wostringstream out;
    std::wostringstream err;
    const int code = command(arguments, out, err);
    return {code, out.str(), err.str()};
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

/// The publisher's certificate in the user's store "My", where the commands look.
class SignCommand : public testing::Test {
protected:
    SignCommand() {
        AddToStore(OpenSystemStore(CERT_SYSTEM_STORE_CURRENT_USER, L"My", StoreAccess::Write).Get(),
                   Authority().Publisher());
    }
    ~SignCommand() override { RemoveFromStore(HKEY_CURRENT_USER, L"My", Authority().Publisher()); }
    const std::wstring m_thumbprint = ThumbprintOf(Authority().Publisher());
    const CScratchFolder m_folder;
};

TEST_F(SignCommand, SignsEachScriptAndSaysWithWhat) {
    const std::wstring a = m_folder.Write(L"a.vbs", "x = 1\r\n");
    const std::wstring b = m_folder.Write(L"b.js", "var x;\n");
    const COutcome outcome = Call(&RunSign, {a, b, L"--thumbprint", m_thumbprint});
    EXPECT_EQ(0, outcome.code);
    EXPECT_EQ(a + L": signed by CN=Publisher (" + m_thumbprint + L")\n" + b + L": signed by CN=Publisher (" +
                  m_thumbprint + L")\n",
              outcome.out);
    EXPECT_EQ(L"", outcome.err);
    const COutcome verified = Call(&RunVerify, {a, b});
    EXPECT_EQ(0, verified.code);
    EXPECT_EQ(a + L": signed by CN=Publisher\n" + b + L": signed by CN=Publisher\n", verified.out);
}

TEST_F(SignCommand, OneScriptThatFailsDoesNotKeepTheOthersFromIt) {
    const std::wstring missing = m_folder.Path(L"missing.vbs");
    const std::wstring good = m_folder.Write(L"good.vbs", "x = 1\r\n");
    const COutcome outcome = Call(&RunSign, {missing, good, L"--thumbprint", m_thumbprint});
    EXPECT_EQ(1, outcome.code);
    EXPECT_TRUE(outcome.err.starts_with(L"cannot read '" + missing + L"': ")) << testing::PrintToString(outcome.err);
    EXPECT_EQ(1, std::ranges::count(outcome.err, L'\n'));
    EXPECT_TRUE(CScriptVerifier().VerifyFile(good).accepted);
}

TEST(Commands, VerifyGivesTheReasonAndTheCertificate) {
    const CUniqueCertificate stranger = Authority().Issue(CodeSigningRequest(L"CN=Stranger"));
    const CScratchFolder folder;
    const std::wstring plain = folder.Write(L"plain.vbs", "x = 1\r\n");
    const std::wstring text = SignWith(stranger.Get(), L"x");
    const std::wstring strange = folder.Write(L"strange.vbs", std::string(text.begin(), text.end()));
    const COutcome outcome = Call(&RunVerify, {plain, strange});
    EXPECT_EQ(1, outcome.code);
    EXPECT_EQ(L"", outcome.out);
    EXPECT_EQ(plain + L": not accepted: it is not signed\n" + strange +
                  L": not accepted: its publisher is not one of this machine's trusted publishers (certificate: "
                  L"CN=Stranger)\n",
              outcome.err);
}

TEST(Commands, VerifyFailsWhicheverScriptIsNotAccepted) {
    const CScratchFolder folder;
    const std::wstring text = SignWith(Authority().Publisher(), L"x");
    const std::wstring good = folder.Write(L"good.vbs", std::string(text.begin(), text.end()));
    const std::wstring bad = folder.Write(L"bad.vbs", "x = 1\r\n");
    const std::wstring missing = folder.Path(L"missing.vbs");
    const std::wstring accepted = good + L": signed by CN=Publisher\n";
    const std::wstring refused = bad + L": not accepted: it is not signed\n";
    for (const CArguments& scripts : {CArguments{bad, good}, CArguments{good, bad}}) {
        const COutcome outcome = Call(&RunVerify, scripts);
        EXPECT_EQ(1, outcome.code);
        EXPECT_EQ(accepted, outcome.out);
        EXPECT_EQ(refused, outcome.err);
    }
    const COutcome outcome = Call(&RunVerify, {missing, good, bad});
    EXPECT_EQ(1, outcome.code);
    EXPECT_EQ(accepted, outcome.out);
    EXPECT_TRUE(outcome.err.starts_with(L"cannot read '" + missing + L"': "));
    EXPECT_TRUE(outcome.err.ends_with(refused));
}

TEST(Commands, SenselessArgumentsAreNamed) {
    const CScratchFolder folder;
    const struct {
        int (*command)(const CArguments&, std::wostream&, std::wostream&);
        CArguments arguments;
        std::wstring error;
    } cases[] = {
        {&RunSign, {}, L"usage: sign SCRIPT... [--cert FILE.pfx | --thumbprint T]\n"},
        {&RunSign, {L"a.vbs", L"--cert"}, L"--cert needs a value\n"},
        {&RunSign, {L"a.vbs", L"--cert", L""}, L"--cert needs a value\n"},
        {&RunSign, {L"a.vbs", L"--thumbprint", L""}, L"--thumbprint needs a value\n"},
        {&RunSign, {L"a.vbs", L"--key", L"x"}, L"unknown option '--key'\n"},
        {&RunSign, {L"a.vbs", L"--cert", L"x", L"--thumbprint", L"y"}, L"--cert and --thumbprint exclude each other\n"},
        {&RunVerify, {}, L"usage: verify SCRIPT...\n"},
        {&RunTrust, {}, L"usage: trust CERT\n"},
        {&RunTrust, {L"a", L"b"}, L"usage: trust CERT\n"},
        {&RunCert, {}, L"usage: cert --new-development [--out FILE]\n"},
        {&RunCert, {L"--new-development", L"x"}, L"usage: cert --new-development [--out FILE]\n"},
    };
    for (const auto& [command, arguments, error] : cases) {
        const COutcome outcome = Call(command, arguments);
        EXPECT_EQ(2, outcome.code);
        EXPECT_EQ(error, outcome.err);
        EXPECT_EQ(L"", outcome.out);
    }
    EXPECT_EQ(1, Call(&RunSign, {L"a.vbs", L"--thumbprint", L"nobody"}).code);
    EXPECT_EQ(1, Call(&RunSign, {L"a.vbs", L"--cert", folder.Write(L"no.pfx", "no")}).code);
    EXPECT_EQ(1, Call(&RunTrust, {folder.Write(L"no.cer", "no")}).code);
    EXPECT_EQ(1, Call(&RunTrust, {folder.Write(L"no.pem", "-----BEGIN CERTIFICATE-----\nAAAA")}).code);
}

TEST(Commands, TrustStoresRootsAndPublishersWhereTheyBelong) {
    const CUniqueCertificate root = Authority().IssueRoot(L"CN=Quorline Test Root");
    const CUniqueCertificate leaf = Authority().Issue(CodeSigningRequest(L"CN=Leaf"), root.Get());
    CCertificateRequest server = CodeSigningRequest(L"CN=Server");
    server.usages = {szOID_PKIX_KP_SERVER_AUTH};
    const CUniqueCertificate useless = Authority().Issue(server);
    const CScratchFolder folder;

    EXPECT_EQ(L"CN=Quorline Test Root: now a trusted root, for programs started from now on\n",
              Call(&RunTrust, {folder.Write(L"root.cer", Text(EncodedBytes(root.Get())))}).out);
    EXPECT_TRUE(MachineHolds(L"Root", root.Get()));
    EXPECT_FALSE(MachineHolds(L"TrustedPublisher", root.Get()));

    const COutcome both =
        Call(&RunTrust, {folder.Write(L"both.pem", "# two\n" + Pem(leaf.Get()) + Pem(useless.Get()))});
    EXPECT_EQ(1, both.code);
    EXPECT_EQ(L"CN=Leaf: now a trusted publisher\n", both.out);
    EXPECT_EQ(L"CN=Server: neither a root nor for code signing; nothing to trust\n", both.err);
    EXPECT_TRUE(MachineHolds(L"TrustedPublisher", leaf.Get()));
    EXPECT_FALSE(MachineHolds(L"Root", leaf.Get()));
    EXPECT_FALSE(MachineHolds(L"TrustedPublisher", useless.Get()));
}

TEST(Commands, ADevelopmentCertificateIsForCodeSigningOnlyAndTrustedByNobody) {
    const CScratchFolder folder;
    const std::wstring path = folder.Path(L"dev.cer");
    const COutcome outcome = Call(&RunCert, {L"--new-development", L"--out", path});
    ASSERT_EQ(0, outcome.code) << testing::PrintToString(outcome.err);
    const std::string bytes = folder.Read(L"dev.cer");
    const CUniqueCertificate certificate(CertCreateCertificateContext(
        X509_ASN_ENCODING, reinterpret_cast<const BYTE*>(bytes.data()), static_cast<DWORD>(bytes.size())));
    ASSERT_TRUE(certificate);
    const std::wstring thumbprint = ThumbprintOf(certificate.Get());
    EXPECT_EQ(L"CN=Quorline Development (" + thumbprint + L"): written to " + path + L"; 'trust " + path +
                  L"' makes this machine accept what it signs\n",
              outcome.out);
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
