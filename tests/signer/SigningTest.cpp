#include "cms/SignatureBlock.h"
#include "common/SignerErrors.h"
#include "ScriptSignerCore.h"
#include "TempFolder.h"
#include "TestAuthority.h"

#include <gtest/gtest.h>

namespace {

CTestAuthority& Authority() {
    return CTestAuthority::Instance();
}

CSigningCertificate Signing(PCCERT_CONTEXT certificate) {
    return {CUniqueStore(), ShareCertificate(certificate)};
}

/// The error's text, or nothing.
std::wstring ErrorOfSigning(PCCERT_CONTEXT certificate, const std::wstring& path) {
    try {
        const CSigningCertificate signing = Signing(certificate);
        CScriptSignerCore(signing).SignFile(path);
        return {};
    } catch (const CSignerError& error) {
        return error.Text();
    }
}

TEST(Signing, AFileKeepsItsBytesAndGetsABlockInItsEncoding) {
    const std::string block = "\r\n'' SIG '' Begin signature block\r\n";
    const std::string jBlock = "\r\n// SIG // Begin signature block\r\n";
    std::string wideBlock;
    for (const char character : jBlock)
        wideBlock.append({character, '\0'});
    const struct {
        std::wstring name;
        std::string bytes;
        std::string block;
    } cases[] = {
        {L"a.vbs", "x = 1\n", block},
        {L"a.vbs", "", block},
        {L"a.vbs", "' \xC3\xA4", block},
        {L"a.js", "\xEF\xBB\xBF// \xC3\xA4", jBlock},
        {L"a.js", std::string("\xFF\xFEx\0", 4), wideBlock},
    };
    for (const auto& [name, bytes, expected] : cases) {
        const CTempFolder folder;
        const std::wstring path = folder.Write(name, bytes);
        ASSERT_EQ(L"", ErrorOfSigning(Authority().Publisher(), path));
        EXPECT_EQ(bytes + expected, folder.Read(name).substr(0, bytes.size() + expected.size()));
        EXPECT_TRUE(CScriptVerifier().VerifyFile(path).accepted);
        EXPECT_EQ(1u, folder.Count());
    }
}

TEST(Signing, AgainReplacesTheBlock) {
    const CUniqueCertificate second = Authority().Issue(CodeSigningRequest(L"CN=Second"));
    const CStoredCertificate trusted(L"TrustedPublisher", second.Get());
    const CTempFolder folder;
    const std::wstring path = folder.Write(L"a.js", "var x = 1;\r\n");
    ASSERT_EQ(L"", ErrorOfSigning(Authority().Publisher(), path));
    const std::string once = folder.Read(L"a.js");
    ASSERT_EQ(L"", ErrorOfSigning(second.Get(), path));
    const std::string twice = folder.Read(L"a.js");
    EXPECT_NE(once, twice);
    EXPECT_EQ(twice.find("Begin signature block"), twice.rfind("Begin signature block"));
    EXPECT_EQ(L"CN=Second", CScriptVerifier().VerifyFile(path).subject);
}

TEST(Signing, LeavesTheFileAloneWhenTheResultWouldNotBeAccepted) {
    const CUniqueCertificate stranger = Authority().Issue(CodeSigningRequest(L"CN=Stranger"));
    const CTempFolder folder;
    const std::wstring path = folder.Write(L"a.vbs", "x = 1\r\n");
    EXPECT_EQ(L"'" + path +
                  L"' was left unsigned, since this machine would not accept the result: its publisher is not one of "
                  L"this machine's trusted publishers",
              ErrorOfSigning(stranger.Get(), path));
    EXPECT_EQ("x = 1\r\n", folder.Read(L"a.vbs"));
    EXPECT_EQ(1u, folder.Count());
}

TEST(Signing, RefusesWhatCannotBeSigned) {
    const CTempFolder folder;
    const std::string signedText = [&] {
        ErrorOfSigning(Authority().Publisher(), folder.Write(L"good.vbs", "x = 1\r\n"));
        return folder.Read(L"good.vbs");
    }();
    const struct {
        std::wstring name;
        std::string bytes;
        std::wstring reason;
    } cases[] = {
        {L"a.txt", "x", L"only .vbs and .js scripts can be signed, not '"},
        {L"a.vbs", "x = \"\xE4\"", L"is neither UTF-8 nor UTF-16LE with a byte-order mark"},
        {L"a.vbs", std::string("a\0b", 3), L"the script holds a zero character; it would be run only up to there"},
        {L"a.vbs", "\xEF\xBB\xBFx = 1\r\n",
         L"the script begins with a byte-order mark, after which VBScript runs nothing; save it as UTF-8 without the "
         L"mark"},
        {L"a.vbs", std::string("\xFF\xFEx\0", 4),
         L"the script begins with a byte-order mark, after which VBScript runs nothing; save it as UTF-8 without the "
         L"mark"},
        {L"a.vbs", signedText + "y",
         L"remove what is left of an earlier signature block first: there is text after the "
         L"signature block"},
        {L"a.vbs", signedText.substr(0, signedText.size() - 9),
         L"remove what is left of an earlier signature block first: the signature block is damaged or cut off"},
    };
    for (const auto& [name, bytes, reason] : cases) {
        const std::wstring error = ErrorOfSigning(Authority().Publisher(), folder.Write(name, bytes));
        EXPECT_NE(std::wstring::npos, error.find(reason)) << testing::PrintToString(error);
        EXPECT_EQ(bytes, folder.Read(name));
    }
    EXPECT_NE(L"", ErrorOfSigning(Authority().Publisher(), folder.Path(L"missing.vbs")));
}

TEST(Signing, AReadOnlyFileStaysAsItIs) {
    const CTempFolder folder;
    const std::wstring path = folder.Write(L"a.vbs", "x = 1\r\n");
    SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY);
    EXPECT_TRUE(ErrorOfSigning(Authority().Publisher(), path).starts_with(L"cannot replace '"));
    EXPECT_EQ("x = 1\r\n", folder.Read(L"a.vbs"));
    EXPECT_EQ(1u, folder.Count());
    SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST(Signing, TheCertificatesUpToTheRootTravelWithTheScript) {
    const CUniqueCertificate middle = Authority().IssueAuthority(L"CN=Middle");
    const CUniqueCertificate leaf = Authority().Issue(CodeSigningRequest(L"CN=Under Middle"), middle.Get());
    const CBytes signature = SignatureOf(SignWith(leaf.Get(), L"x", ScriptKind::VBScript, {middle.Get()}));
    const CSignedData data = ParseSignedData(signature);
    ASSERT_EQ(2u, data.certificates.size());
    for (const CBytesView certificate : data.certificates)
        EXPECT_TRUE(SameBytes(certificate, EncodedBytes(leaf.Get())) ||
                    SameBytes(certificate, EncodedBytes(middle.Get())));
}

TEST(Signing, ACertificateWithoutItsKeyCannotSign) {
    const CUniqueCertificate bare(CertCreateCertificateContext(
        X509_ASN_ENCODING, Authority().Publisher()->pbCertEncoded, Authority().Publisher()->cbCertEncoded));
    const CSigningCertificate signing = Signing(bare.Get());
    EXPECT_THROW(CScriptSignerCore{signing}, CSignerError);
}

TEST(Signing, ASerialNumberIsPositiveAndOfFullLength) {
    for (int i = 0; i < 64; ++i) {
        const CUniqueCertificate certificate = Authority().IssueRoot(L"CN=Number");
        const CBytesView serial = ParseCertificate(EncodedBytes(certificate.Get())).serial;
        EXPECT_EQ(16u, serial.size());
        EXPECT_LE(0x40, serial[0]);
        EXPECT_GT(0x80, serial[0]);
    }
}

/// A store of the current user for one test, with certificates whose keys are at hand.
class SigningCertificate : public testing::Test {
protected:
    ~SigningCertificate() override { RegDeleteTreeW(HKEY_CURRENT_USER, (RegistryPath + Name).c_str()); }
    void Add(const CUniqueCertificate& certificate) {
        AddToStore(OpenSystemStore(CERT_SYSTEM_STORE_CURRENT_USER, Name.c_str(), StoreAccess::Write).Get(),
                   certificate.Get());
    }
    std::wstring Find(const std::wstring& name) {
        try {
            return ThumbprintOf(CSigningCertificate::FromStore(name, Name).Get());
        } catch (const CSignerError& error) {
            return error.Text();
        }
    }

    const std::wstring RegistryPath = L"Software\\Microsoft\\SystemCertificates\\";
    const std::wstring Name = L"QuorlineTest" + std::to_wstring(GetCurrentProcessId());
};

TEST_F(SigningCertificate, IsFoundByThumbprintAndByName) {
    const CUniqueCertificate one = Authority().Issue(CodeSigningRequest(L"CN=One, O=Elsewhere"));
    const CUniqueCertificate two = Authority().Issue(CodeSigningRequest(L"CN=Two"));
    Add(one);
    Add(two);
    const std::wstring thumbprint = ThumbprintOf(one.Get());
    std::wstring pasted = L"\x200E";
    for (std::size_t i = 0; i < thumbprint.size(); i += 2)
        pasted += thumbprint.substr(i, 2) + L" ";
    std::wstring lower = thumbprint;
    for (wchar_t& character : lower)
        character = static_cast<wchar_t>(towlower(character));
    for (const std::wstring& name : {thumbprint, pasted, lower, std::wstring(L"one"), SubjectOf(one.Get())})
        EXPECT_EQ(thumbprint, Find(name)) << testing::PrintToString(name);
    EXPECT_EQ(L"no certificate for code signing with a private key is called 'Three' in the store '" + Name + L"'",
              Find(L"Three"));
    EXPECT_TRUE(Find(L"").starts_with(L"several certificates can sign; name one by its thumbprint: "));
}

TEST_F(SigningCertificate, InTheUsersAndTheMachinesStoreItIsStillOne) {
    class CMachinesStore {
    public:
        explicit CMachinesStore(const std::wstring& name) : m_name(name) {}
        CMachinesStore(const CMachinesStore&) = delete;
        CMachinesStore& operator=(const CMachinesStore&) = delete;
        ~CMachinesStore() {
            RegDeleteTreeW(HKEY_LOCAL_MACHINE, (L"Software\\Microsoft\\SystemCertificates\\" + m_name).c_str());
        }
        void Add(PCCERT_CONTEXT certificate) {
            AddToStore(OpenSystemStore(CERT_SYSTEM_STORE_LOCAL_MACHINE, m_name.c_str(), StoreAccess::Write).Get(),
                       certificate);
        }

    private:
        std::wstring m_name;
    } machine(Name);
    const CUniqueCertificate one = Authority().Issue(CodeSigningRequest(L"CN=One"));
    // The user's store shows the machine's as well: added to it second, the certificate would stay where it is.
    Add(one);
    machine.Add(one.Get());
    EXPECT_EQ(ThumbprintOf(one.Get()), Find(L""));
    EXPECT_EQ(ThumbprintOf(one.Get()), Find(L"One"));
    EXPECT_EQ(ThumbprintOf(one.Get()), Find(ThumbprintOf(one.Get())));
}

TEST_F(SigningCertificate, IsChosenByItselfWhenThereIsOneAndTheNewestOfSeveralForOneSubject) {
    EXPECT_EQ(L"no certificate for code signing with a private key is in the store '" + Name + L"'", Find(L""));
    CCertificateRequest older = CodeSigningRequest(L"CN=One");
    older.notBefore = HoursFromNow(-500);
    const CUniqueCertificate old = Authority().Issue(older);
    const CUniqueCertificate renewed = Authority().Issue(CodeSigningRequest(L"CN=One"));
    CCertificateRequest server = CodeSigningRequest(L"CN=Server");
    server.usages = {szOID_PKIX_KP_SERVER_AUTH};
    Add(renewed);
    Add(old);
    Add(Authority().Issue(server));
    EXPECT_EQ(ThumbprintOf(renewed.Get()), Find(L""));
    EXPECT_EQ(ThumbprintOf(old.Get()), Find(ThumbprintOf(old.Get())));
}

} // namespace
