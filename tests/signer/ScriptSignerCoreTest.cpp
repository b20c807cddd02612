// Proves what signing does to texts and files: ScriptSignerCore.

#include "cms/SignatureBlock.h"
#include "common/SignerErrors.h"
#include "ScriptSignerCore.h"
#include "TempFolder.h"
#include "TestAuthority.h"

#include <gtest/gtest.h>

namespace {

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

TEST(ScriptSignerCore, AFileKeepsItsBytesAndGetsABlockInItsEncoding) {
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

TEST(ScriptSignerCore, AgainReplacesTheBlock) {
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

TEST(ScriptSignerCore, LeavesTheFileAloneWhenTheResultWouldNotBeAccepted) {
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

TEST(ScriptSignerCore, RefusesWhatCannotBeSigned) {
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

/// A file that cannot be written, for a scope.
class CReadOnly {
public:
    explicit CReadOnly(const std::wstring& path) : m_path(path) {
        SetFileAttributesW(m_path.c_str(), FILE_ATTRIBUTE_READONLY);
    }
    CReadOnly(const CReadOnly&) = delete;
    CReadOnly& operator=(const CReadOnly&) = delete;
    ~CReadOnly() { SetFileAttributesW(m_path.c_str(), FILE_ATTRIBUTE_NORMAL); }

private:
    std::wstring m_path;
};

TEST(ScriptSignerCore, AReadOnlyFileStaysAsItIs) {
    const CTempFolder folder;
    const std::wstring path = folder.Write(L"a.vbs", "x = 1\r\n");
    const CReadOnly readOnly(path);
    EXPECT_TRUE(ErrorOfSigning(Authority().Publisher(), path).starts_with(L"cannot replace '"));
    EXPECT_EQ("x = 1\r\n", folder.Read(L"a.vbs"));
    EXPECT_EQ(1u, folder.Count());
}

TEST(ScriptSignerCore, TheCertificatesUpToTheRootTravelWithTheScript) {
    const CUniqueCertificate middle = Authority().IssueAuthority(L"CN=Middle");
    const CUniqueCertificate leaf = Authority().Issue(CodeSigningRequest(L"CN=Under Middle"), middle.Get());
    const CBytes signature = SignatureOf(SignWith(leaf.Get(), L"x", ScriptKind::VBScript, {middle.Get()}));
    const CSignedData data = ParseSignedData(signature);
    ASSERT_EQ(2u, data.certificates.size());
    for (const CBytesView certificate : data.certificates)
        EXPECT_TRUE(SameBytes(certificate, EncodedBytes(leaf.Get())) ||
                    SameBytes(certificate, EncodedBytes(middle.Get())));
}

TEST(ScriptSignerCore, ACertificateWithoutItsKeyCannotSign) {
    const CUniqueCertificate bare(CertCreateCertificateContext(
        X509_ASN_ENCODING, Authority().Publisher()->pbCertEncoded, Authority().Publisher()->cbCertEncoded));
    const CSigningCertificate signing = Signing(bare.Get());
    EXPECT_THROW(CScriptSignerCore{signing}, CSignerError);
}

} // namespace
