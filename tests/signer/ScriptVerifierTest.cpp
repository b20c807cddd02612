// Proves which scripts are accepted and why others are not, each with one line in the log: ScriptVerifier.

#include "cms/SignatureBlock.h"
#include "LogLines.h"
#include "ScriptVerifier.h"
#include "TempFolder.h"
#include "TestAuthority.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

namespace {

constexpr wchar_t Script[] = L"Dim x\r\nx = \"\x00E4\x20AC\"\r\nMsgBox x\r\n";

CVerification Verify(std::wstring_view text, ScriptKind kind = ScriptKind::VBScript) {
    return CScriptVerifier().VerifyText(kind, text);
}

std::wstring ReasonAgainst(std::wstring_view text, ScriptKind kind = ScriptKind::VBScript) {
    const CVerification verification = Verify(text, kind);
    return verification.accepted ? L"accepted" : verification.reason;
}

std::string Utf8(std::wstring_view text) {
    std::string bytes(text.size() * 3, '\0');
    bytes.resize(
        static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                                     bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr)));
    return bytes;
}

std::string Utf16(std::wstring_view text) {
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)};
}

TEST(ScriptVerifier, AcceptsAScriptOfATrustedPublisher) {
    for (const ScriptKind kind : {ScriptKind::VBScript, ScriptKind::JScript}) {
        const CVerification verification = Verify(SignWith(Authority().Publisher(), Script, kind), kind);
        EXPECT_TRUE(verification.accepted) << testing::PrintToString(verification.reason);
        EXPECT_EQ(L"CN=Publisher", verification.subject);
        EXPECT_EQ(L"", verification.reason);
        EXPECT_FALSE(verification.stampedAt);
    }
}

TEST(ScriptVerifier, ASignatureForOneLanguageDoesNotHoldInTheOther) {
    // Harmless in one language, anything in the other.
    const std::wstring text = L"rem = 1 /*\r\n' */\r\n";
    const std::wstring refused = L"the signature was made for a script in the other language";
    const CBytes visualBasic = SignatureOf(SignWith(Authority().Publisher(), text, ScriptKind::VBScript));
    const CBytes javaScript =
        SignatureOf(SignWith(Authority().Publisher(), text, ScriptKind::JScript), ScriptKind::JScript);
    EXPECT_EQ(refused,
              ReasonAgainst(text + FormatSignatureBlock(ScriptKind::JScript, visualBasic), ScriptKind::JScript));
    EXPECT_EQ(refused, ReasonAgainst(text + FormatSignatureBlock(ScriptKind::VBScript, javaScript)));
    EXPECT_EQ(L"accepted", ReasonAgainst(text + FormatSignatureBlock(ScriptKind::VBScript, visualBasic)));
    EXPECT_EQ(L"accepted",
              ReasonAgainst(text + FormatSignatureBlock(ScriptKind::JScript, javaScript), ScriptKind::JScript));
}

TEST(ScriptVerifier, AcceptsEmptyScriptsAndEveryLineBreak) {
    for (const std::wstring text : {L"", L"x", L"x\n", L"x\ny\n", L"x\r\ny", L"x\r"})
        EXPECT_EQ(L"accepted", ReasonAgainst(SignWith(Authority().Publisher(), text))) << testing::PrintToString(text);
    for (const std::wstring text : {L"", L"x", L"\xFEFFx\n", L"\xFEFF"})
        EXPECT_EQ(L"accepted",
                  ReasonAgainst(SignWith(Authority().Publisher(), text, ScriptKind::JScript), ScriptKind::JScript))
            << testing::PrintToString(text);
}

TEST(ScriptVerifier, AMarkInFrontOfAVBScriptIsRefusedThoughTheSignatureStillHolds) {
    const std::wstring refused =
        L"it begins with a byte-order mark, after which VBScript runs nothing: save it as UTF-8 "
        L"without the mark and sign it again";
    const CTempFolder folder;
    const std::wstring good = SignWith(Authority().Publisher(), Script);
    EXPECT_EQ(refused, ReasonAgainst(L"\xFEFF" + good));
    EXPECT_EQ(refused, ReasonAgainst(L"\xFEFF" + SignWith(Authority().Publisher(), L"")));
    EXPECT_EQ(refused, CScriptVerifier().VerifyFile(folder.Write(L"a.vbs", Utf8(L"\xFEFF" + good))).reason);
    EXPECT_EQ(refused, CScriptVerifier().VerifyFile(folder.Write(L"b.vbs", Utf16(L"\xFEFF" + good))).reason);
    EXPECT_EQ(L"it is not signed", ReasonAgainst(std::wstring(L"\xFEFF") + Script));
    EXPECT_EQ(L"accepted", ReasonAgainst(good));
}

TEST(ScriptVerifier, TextAndFilesOfEveryEncodingVerifyAlike) {
    const CTempFolder folder;
    for (const std::wstring& text : {std::wstring(Script), std::wstring(L"a\nb\n")}) {
        const std::wstring whole = SignWith(Authority().Publisher(), text, ScriptKind::JScript);
        EXPECT_EQ(L"accepted", ReasonAgainst(L"\xFEFF" + whole, ScriptKind::JScript));
        EXPECT_EQ(L"the script was altered after it was signed",
                  ReasonAgainst(L"\xFEFF\xFEFF" + whole, ScriptKind::JScript));
        const struct {
            const char* what;
            std::string bytes;
        } files[] = {
            {"UTF-8", Utf8(whole)},
            {"UTF-8 with a mark", Utf8(L"\xFEFF" + whole)},
            {"UTF-16LE with a mark", Utf16(L"\xFEFF" + whole)},
        };
        for (const auto& [what, bytes] : files) {
            const CVerification verification = CScriptVerifier().VerifyFile(folder.Write(L"a.js", bytes));
            EXPECT_TRUE(verification.accepted) << what << testing::PrintToString(verification.reason);
        }
    }
}

TEST(ScriptVerifier, LineFeedsThatVersionControlMadeOfTheBlockDoNotMatter) {
    std::wstring whole = SignWith(Authority().Publisher(), L"a\nb\n");
    std::erase(whole, L'\r');
    EXPECT_EQ(L"accepted", ReasonAgainst(whole));
    std::wstring changed = SignWith(Authority().Publisher(), L"a\r\nb\r\n");
    std::erase(changed, L'\r');
    EXPECT_EQ(L"the script was altered after it was signed", ReasonAgainst(changed));
}

TEST(ScriptVerifier, AFileInAnotherEncodingIsRefusedNotAnError) {
    const CTempFolder folder;
    const CLogLines log;
    const CVerification verification = CScriptVerifier().VerifyFile(folder.Write(L"a.vbs", "x = \"\xE4\"\r\n"));
    EXPECT_FALSE(verification.accepted);
    EXPECT_EQ(1u, log.Of(L"ScriptSigner.Verify").size());
}

TEST(ScriptVerifier, RefusesWhatIsNotSignedAndWhatWasAddedOrCut) {
    const std::wstring good = SignWith(Authority().Publisher(), Script);
    const std::wstring other = SignWith(Authority().Publisher(), L"Dim y\r\n");
    const std::wstring block = good.substr(std::wcslen(Script));
    const struct {
        std::wstring text;
        std::wstring reason;
    } cases[] = {
        {Script, L"it is not signed"},
        {L"", L"it is not signed"},
        {good + L"MsgBox 2\r\n", L"there is text after the signature block"},
        {good + block, L"there is more than one signature block"},
        {good.substr(0, good.size() - 40), L"the signature block is damaged or cut off"},
        {Script + other.substr(7), L"the script was altered after it was signed"},
        {L"MsgBox 0\r\n" + good, L"the script was altered after it was signed"},
        {std::wstring(L"a\0b", 3) + good, L"it holds a zero character"},
        {L"x" + FormatSignatureBlock(ScriptKind::VBScript, CBytes(3)),
         L"the signature block does not hold a well-formed signature"},
    };
    for (const auto& [text, reason] : cases)
        EXPECT_EQ(reason, ReasonAgainst(text));
    EXPECT_EQ(L"it is not signed", ReasonAgainst(good, ScriptKind::JScript));
}

TEST(ScriptVerifier, RefusesOneChangedByteAnywhere) {
    const std::wstring good = SignWith(Authority().Publisher(), Script + std::wstring(500, L'x'));
    ASSERT_EQ(L"accepted", ReasonAgainst(good));
    for (std::size_t i = 0; i < 200; ++i) {
        std::wstring bad = good;
        const std::size_t place = i * (good.size() - 1) / 199;
        bad[place] ^= 1;
        EXPECT_NE(L"accepted", ReasonAgainst(bad)) << place;
    }
}

TEST(ScriptVerifier, RefusesOneChangedByteAnywhereInTheSignatureItself) {
    const CUniqueCertificate middle = Authority().IssueAuthority(L"CN=Middle");
    const CUniqueCertificate leaf = Authority().Issue(CodeSigningRequest(L"CN=Under Middle"), middle.Get());
    const CPolicyValue anyRoot(L"AnyTrustedRoot", 1ul);
    const std::wstring good = SignWith(leaf.Get(), Script, ScriptKind::VBScript, {middle.Get()});
    const CBytes signature = SignatureOf(good);
    ASSERT_EQ(L"accepted", ReasonAgainst(good));
    for (std::size_t i = 0; i < 200; ++i) {
        CBytes bad = signature;
        const std::size_t place = i * (signature.size() - 1) / 199;
        bad[place] ^= static_cast<BYTE>(1 << i % 8);
        EXPECT_NE(L"accepted", ReasonAgainst(WithSignature(good, bad))) << place;
    }
}

TEST(ScriptVerifier, JudgesTheCertificate) {
    CCertificateRequest expired = CodeSigningRequest(L"CN=Expired");
    expired.notAfter = HoursFromNow(-1);
    CCertificateRequest future = CodeSigningRequest(L"CN=Future");
    future.notBefore = HoursFromNow(1);
    CCertificateRequest server = CodeSigningRequest(L"CN=Server");
    server.usages = {szOID_PKIX_KP_SERVER_AUTH};
    CCertificateRequest any = CodeSigningRequest(L"CN=Any");
    any.usages = {};
    const CUniqueCertificate otherRoot = Authority().IssueRoot(L"CN=Other Root");
    const struct {
        const char* what;
        CUniqueCertificate certificate;
        std::wstring reason;
    } cases[] = {
        {"expired", Authority().Issue(expired), L"the certificate has expired or is not valid yet"},
        {"not valid yet", Authority().Issue(future), L"the certificate has expired or is not valid yet"},
        {"wrong usage", Authority().Issue(server), L"the certificate is not meant for this usage"},
        {"no usage", Authority().Issue(any), L"the certificate is not meant for this usage"},
        {"untrusted root", Authority().Issue(CodeSigningRequest(L"CN=Elsewhere"), otherRoot.Get()),
         L"the certificate does not lead to a root certificate"},
        {"untrusted publisher", Authority().Issue(CodeSigningRequest(L"CN=Stranger")),
         L"its publisher is not one of this machine's trusted publishers"},
    };
    for (const auto& [what, certificate, reason] : cases) {
        const std::wstring text = SignWith(certificate.Get(), Script);
        EXPECT_EQ(reason, ReasonAgainst(text)) << what;
        const CVerification verification = Verify(text);
        EXPECT_EQ(SubjectOf(certificate.Get()), verification.subject) << what;
    }
}

TEST(ScriptVerifier, ARootInTheBlockIsNoTrustedRoot) {
    const CUniqueCertificate otherRoot = Authority().IssueRoot(L"CN=Other Root");
    const CUniqueCertificate leaf = Authority().Issue(CodeSigningRequest(L"CN=Elsewhere"), otherRoot.Get());
    const CBytes plain = SignatureOf(SignWith(leaf.Get(), Script));
    // The signer leaves roots out; put it in by hand.
    const CSignedData data = ParseSignedData(plain);
    std::vector<CBytes> certificates{CBytes(data.certificates.at(0).begin(), data.certificates.at(0).end())};
    const CBytes before = DerSetOf(certificates, DerTag::Context(0));
    const CBytesView root = EncodedBytes(otherRoot.Get());
    certificates.emplace_back(root.begin(), root.end());
    const CBytes after = DerSetOf(certificates, DerTag::Context(0));
    CDerReader outer(plain);
    CDerReader contentInfo = outer.Enter(DerTag::Sequence);
    const CBytesView oid = contentInfo.ReadAny().whole;
    CDerReader fields = contentInfo.Enter(DerTag::Context(0)).Enter(DerTag::Sequence);
    const CBytesView version = fields.ReadAny().whole;
    const CBytesView digests = fields.ReadAny().whole;
    const CBytesView content = fields.ReadAny().whole;
    ASSERT_TRUE(SameBytes(before, fields.ReadAny().whole));
    const CBytes signature =
        DerSequence({oid, DerElement(DerTag::Context(0),
                                     {DerSequence({version, digests, content, after, fields.ReadAny().whole})})});
    EXPECT_EQ(L"the certificate leads to a root that this machine does not trust",
              ReasonAgainst(WithSignature(SignWith(leaf.Get(), Script), signature)));
}

TEST(ScriptVerifier, AcceptsAPublisherUnderAnIntermediateAuthority) {
    const CUniqueCertificate middle = Authority().IssueAuthority(L"CN=Middle");
    const CUniqueCertificate leaf = Authority().Issue(CodeSigningRequest(L"CN=Under Middle"), middle.Get());
    const CStoredCertificate trusted(L"TrustedPublisher", leaf.Get());
    EXPECT_EQ(L"accepted", ReasonAgainst(SignWith(leaf.Get(), Script, ScriptKind::VBScript, {middle.Get()})));
    EXPECT_EQ(L"the certificate does not lead to a root certificate", ReasonAgainst(SignWith(leaf.Get(), Script)));
}

TEST(ScriptVerifier, AnyTrustedRootDoesWhereTheMachineSaysSo) {
    const CUniqueCertificate stranger = Authority().Issue(CodeSigningRequest(L"CN=Stranger"));
    const std::wstring text = SignWith(stranger.Get(), Script);
    const std::wstring untrusted = L"its publisher is not one of this machine's trusted publishers";
    EXPECT_EQ(untrusted, ReasonAgainst(text));
    {
        const CPolicyValue on(L"AnyTrustedRoot", 1ul);
        EXPECT_EQ(L"accepted", ReasonAgainst(text));
    }
    {
        const CPolicyValue off(L"AnyTrustedRoot", 0ul);
        EXPECT_EQ(untrusted, ReasonAgainst(text));
    }
    {
        const CPolicyValue neither(L"AnyTrustedRoot", 2ul);
        EXPECT_EQ(untrusted, ReasonAgainst(text));
    }
    {
        const CPolicyValue wrongType(L"AnyTrustedRoot", L"1");
        EXPECT_EQ(untrusted, ReasonAgainst(text));
    }
    EXPECT_EQ(untrusted, ReasonAgainst(text));
}

TEST(ScriptVerifier, ADistrustedCertificateIsRefusedThoughItIsTrustedToo) {
    const CUniqueCertificate leaf = Authority().Issue(CodeSigningRequest(L"CN=Leaked"));
    const CStoredCertificate trusted(L"TrustedPublisher", leaf.Get());
    const std::wstring text = SignWith(leaf.Get(), Script);
    EXPECT_EQ(L"accepted", ReasonAgainst(text));
    const CStoredCertificate distrusted(L"Disallowed", leaf.Get());
    EXPECT_EQ(L"the certificate is distrusted on this machine", ReasonAgainst(text));
}

TEST(ScriptVerifier, ACertificateSignedWithSha1CountsOnlyWhereAsked) {
    const CUniqueCertificate leaf =
        Authority().Issue(CodeSigningRequest(L"CN=Old"), nullptr, *FindDigest(szOID_OIWSEC_sha1));
    const CStoredCertificate trusted(L"TrustedPublisher", leaf.Get());
    const std::wstring text = SignWith(leaf.Get(), Script);
    EXPECT_EQ(L"the certificate is signed in a way that is no longer accepted", ReasonAgainst(text));
    const CPolicyValue asked(L"AcceptSha1", 1ul);
    EXPECT_EQ(L"accepted", ReasonAgainst(text));
}

TEST(ScriptVerifier, EachRefusalIsOneLineInTheLog) {
    const CUniqueCertificate stranger = Authority().Issue(CodeSigningRequest(L"CN=Stranger, O=Elsewhere"));
    const CLogLines log;
    Verify(SignWith(Authority().Publisher(), Script));
    EXPECT_TRUE(log.Of(L"ScriptSigner.Verify").empty());
    Verify(Script);
    Verify(SignWith(stranger.Get(), Script));
    const std::vector<std::wstring> expected{
        L"WARN Refused a script: it is not signed. Certificate: none",
        L"WARN Refused a script: its publisher is not one of this machine's trusted publishers. Certificate: "
        L"CN=Stranger, O=Elsewhere"};
    EXPECT_EQ(expected, log.Of(L"ScriptSigner.Verify"));
}

TEST(ScriptVerifier, FiveMegabytesAreAcceptedAndOneChangedCharacterIsNot) {
    std::wstring script;
    while (script.size() < 5 * 1024 * 1024)
        script += L"x = x + 1 ' another line of a long script\r\n";
    std::wstring text = SignWith(Authority().Publisher(), script);
    EXPECT_EQ(L"accepted", ReasonAgainst(text));
    text[script.size() / 2] ^= 1;
    EXPECT_EQ(L"the script was altered after it was signed", ReasonAgainst(text));
}

TEST(ScriptVerifier, EightThreadsAskAtOnce) {
    const std::wstring good = SignWith(Authority().Publisher(), Script);
    std::wstring bad = good;
    bad[0] ^= 1;
    LONG wrong = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < 50; ++round) {
                if (!Verify(good).accepted || Verify(bad).accepted)
                    InterlockedIncrement(&wrong);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(0, wrong);
}

} // namespace
