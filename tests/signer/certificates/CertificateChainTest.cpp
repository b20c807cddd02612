// Proves what is asked of each certificate between a script's signer and a trusted root: CertificateChain.

#include "ScriptVerifier.h"
#include "SignedDataEditor.h"
#include "TestAuthority.h"

#include <gtest/gtest.h>

namespace {

constexpr wchar_t Script[] = L"x = 1\r\n";

/// What is said of a script signed by the leaf, with these certificates above it in the block.
std::wstring ReasonAgainst(PCCERT_CONTEXT leaf, std::initializer_list<PCCERT_CONTEXT> above) {
    const CVerification verification =
        CScriptVerifier().VerifyText(ScriptKind::VBScript, SignWith(leaf, Script, ScriptKind::VBScript, above));
    return verification.accepted ? L"accepted" : verification.reason;
}

/// Any publisher will do, so that the chain decides.
class Chain : public testing::Test {
protected:
    const CPolicyValue m_anyPublisher{L"AnyTrustedRoot", 1ul};
};

/// A key in a container of its own, for a scope.
class CScratchKey {
public:
    explicit CScratchKey(DWORD bits)
        : m_name(L"QuorlineChainTest-" + std::to_wstring(GetCurrentProcessId())), m_provider(Make(m_name, bits)) {}
    CScratchKey(const CScratchKey&) = delete;
    CScratchKey& operator=(const CScratchKey&) = delete;
    ~CScratchKey() {
        m_provider.Reset();
        DeleteRsaKey(m_name);
    }
    HCRYPTPROV Get() const { return m_provider.Get(); }

private:
    static CUniqueProvider Make(const std::wstring& name, DWORD bits) {
        DeleteRsaKey(name);
        return CreateRsaKey(name, bits);
    }
    std::wstring m_name;
    CUniqueProvider m_provider;
};

TEST_F(Chain, AnAuthoritysKeyMustBeAsLongAsASigners) {
    const std::wstring tooShort =
        L"an authority above the certificate, 'CN=Middle', is not accepted: the certificate's key is too short";
    const struct {
        DWORD bits;
        std::wstring reason;
    } cases[] = {{512, tooShort}, {1016, tooShort}, {1024, L"accepted"}};
    for (const auto& [bits, reason] : cases) {
        const CScratchKey key(bits);
        const CUniqueCertificate middle = Authority().IssueAuthority(AuthorityRequest(L"CN=Middle"), key.Get());
        const CSigningKey signing(key.Get(), AT_SIGNATURE);
        const CUniqueCertificate leaf = Authority().IssueUnder(middle.Get(), signing, CodeSigningRequest(L"CN=Leaf"));
        EXPECT_EQ(reason, ReasonAgainst(leaf.Get(), {middle.Get()})) << bits;
    }
}

TEST_F(Chain, AnAuthorityForOtherUsagesCannotVouchForASigner) {
    const std::wstring refused = L"', is not accepted: the certificate is not meant for this usage";
    const auto authority = [](const std::wstring& subject, const std::vector<const char*>& usages,
                              PCCERT_CONTEXT issuer = nullptr) {
        CCertificateRequest request = AuthorityRequest(subject);
        request.usages = usages;
        const CCertificateIssuer by{issuer != nullptr ? issuer : Authority().Root(), Authority().RootKey()};
        return BuildCertificate(request, Authority().RootProvider(), &by);
    };
    const struct {
        const char* what;
        std::vector<const char*> usages;
        bool accepted;
    } cases[] = {
        {"none", {}, true},
        {"this one", {szOID_PKIX_KP_CODE_SIGNING}, true},
        {"this one among others", {szOID_PKIX_KP_SERVER_AUTH, szOID_PKIX_KP_CODE_SIGNING}, true},
        {"any", {szOID_ANY_ENHANCED_KEY_USAGE}, true},
        {"another", {szOID_PKIX_KP_SERVER_AUTH}, false},
        {"time stamping", {szOID_PKIX_KP_TIMESTAMP_SIGNING}, false},
    };
    for (const auto& [what, usages, accepted] : cases) {
        const CUniqueCertificate upper = authority(L"CN=Upper", usages);
        const CUniqueCertificate lower = authority(L"CN=Lower", {}, upper.Get());
        const CUniqueCertificate underUpper = Authority().Issue(CodeSigningRequest(L"CN=Leaf"), upper.Get());
        const CUniqueCertificate underLower = Authority().Issue(CodeSigningRequest(L"CN=Leaf"), lower.Get());
        const std::wstring expected =
            accepted ? L"accepted" : L"an authority above the certificate, 'CN=Upper" + refused;
        EXPECT_EQ(expected, ReasonAgainst(underUpper.Get(), {upper.Get()})) << what;
        EXPECT_EQ(expected, ReasonAgainst(underLower.Get(), {upper.Get(), lower.Get()})) << what;
    }
}

TEST_F(Chain, AnAuthoritySignedWithSha1CountsOnlyWhereAsked) {
    const CUniqueCertificate middle = Authority().IssueAuthority(
        AuthorityRequest(L"CN=Middle"), Authority().RootProvider(), *FindDigest(szOID_OIWSEC_sha1));
    const CUniqueCertificate leaf = Authority().Issue(CodeSigningRequest(L"CN=Leaf"), middle.Get());
    EXPECT_EQ(
        L"an authority above the certificate, 'CN=Middle', is not accepted: the certificate is signed in a way that "
        L"is no longer accepted",
        ReasonAgainst(leaf.Get(), {middle.Get()}));
    const CPolicyValue asked(L"AcceptSha1", 1ul);
    EXPECT_EQ(L"accepted", ReasonAgainst(leaf.Get(), {middle.Get()}));
}

TEST_F(Chain, HowTheRootIsSignedDoesNotMatter) {
    const CUniqueCertificate leaf = Authority().Issue(CodeSigningRequest(L"CN=Leaf"), Authority().OldRoot());
    EXPECT_EQ(szOID_RSA_SHA1RSA, ParseCertificate(EncodedBytes(Authority().OldRoot())).signatureOid);
    EXPECT_EQ(L"accepted", ReasonAgainst(leaf.Get(), {}));
}

TEST_F(Chain, ADistrustedAuthorityOrRootSpoilsWhatIsUnderIt) {
    const std::wstring distrusted = L"the certificate is distrusted on this machine";
    const CUniqueCertificate upper = Authority().IssueAuthority(L"CN=Upper");
    const CUniqueCertificate lower = Authority().IssueAuthority(L"CN=Lower", upper.Get());
    const CUniqueCertificate leaf = Authority().Issue(CodeSigningRequest(L"CN=Leaf"), lower.Get());
    const auto reason = [&] { return ReasonAgainst(leaf.Get(), {upper.Get(), lower.Get()}); };
    EXPECT_EQ(L"accepted", reason());
    for (const PCCERT_CONTEXT one : {upper.Get(), lower.Get(), Authority().Root()}) {
        const CStoredCertificate stored(L"Disallowed", one);
        EXPECT_EQ(distrusted, reason()) << testing::PrintToString(SubjectOf(one));
    }
    const CStoredCertificate another(L"Disallowed", Authority().OldRoot());
    EXPECT_EQ(L"accepted", reason());
}

} // namespace
