// Proves what revocation lists do to a verification, and what servers do that do not hand them out: RevocationLookup.

#include "DerWriter.h"
#include "ScriptVerifier.h"
#include "SilentServer.h"
#include "TempFolder.h"
#include "TestAuthority.h"
#include "certificates/RevocationLookup.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>

namespace {

using CSeconds = std::chrono::duration<double>;

double SecondsOf(const std::function<void()>& action) {
    const auto start = std::chrono::steady_clock::now();
    action();
    return CSeconds(std::chrono::steady_clock::now() - start).count();
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

std::wstring ReasonAgainst(PCCERT_CONTEXT certificate, std::initializer_list<PCCERT_CONTEXT> above = {}) {
    const CStoredCertificate trusted(L"TrustedPublisher", certificate);
    const CVerification verification = CScriptVerifier().VerifyText(
        ScriptKind::VBScript, SignWith(certificate, L"x = 1\r\n", ScriptKind::VBScript, above));
    return verification.accepted ? L"accepted" : verification.reason;
}

TEST(Revocation, ACertificateOnAReachableListIsRefused) {
    const CTempFolder folder;
    CCertificateRequest request = CodeSigningRequest(L"CN=Revoked");
    request.revocationListUrl = UrlOf(folder.Path(L"revoked.crl"));
    const CUniqueCertificate revoked = Authority().Issue(request);
    folder.Write(L"revoked.crl", RevocationList(revoked.Get()));
    EXPECT_EQ(L"the certificate was revoked", ReasonAgainst(revoked.Get()));
}

TEST(Revocation, SoIsOneBelowAnAuthorityOnAReachableList) {
    const CTempFolder folder;
    CCertificateRequest request{L"CN=Revoked Middle", HoursFromNow(-1), HoursFromNow(100), {}, true};
    request.revocationListUrl = UrlOf(folder.Path(L"authorities.crl"));
    const CUniqueCertificate middle = Authority().IssueAuthority(request, Authority().PublisherProvider());
    const CUniqueCertificate leaf =
        Authority().IssueUnder(middle.Get(), Authority().PublisherKey(), CodeSigningRequest(L"CN=Below"));
    EXPECT_EQ(L"accepted", ReasonAgainst(leaf.Get(), {middle.Get()}));
    folder.Write(L"authorities.crl", RevocationList(middle.Get()));
    EXPECT_EQ(L"the certificate was revoked", ReasonAgainst(leaf.Get(), {middle.Get()}));
}

TEST(Revocation, ACertificateThatTheListDoesNotNameIsAccepted) {
    const CTempFolder folder;
    CCertificateRequest request = CodeSigningRequest(L"CN=Innocent");
    request.revocationListUrl = UrlOf(folder.Path(L"others.crl"));
    const CUniqueCertificate innocent = Authority().Issue(request);
    folder.Write(L"others.crl", RevocationList(Authority().Publisher()));
    EXPECT_EQ(L"accepted", ReasonAgainst(innocent.Get()));
}

TEST(Revocation, AListThatCannotBeReachedDoesNotCount) {
    const CTempFolder folder;
    CCertificateRequest request = CodeSigningRequest(L"CN=Offline");
    request.revocationListUrl = UrlOf(folder.Path(L"missing.crl"));
    EXPECT_EQ(L"accepted", ReasonAgainst(Authority().Issue(request).Get()));
}

/// A script whose publisher's revocation list is on that server.
std::wstring SignedWithListAt(const std::string& url, CUniqueCertificate& certificate) {
    CCertificateRequest request = CodeSigningRequest(L"CN=Silent");
    request.revocationListUrl = url;
    certificate = Authority().Issue(request);
    return SignWith(certificate.Get(), L"x = 1\r\n");
}

TEST(Revocation, AServerThatStaysSilentHoldsOneVerificationUpForFiveSecondsAndNoOther) {
    CSilentServer server;
    CUniqueCertificate certificate;
    const std::wstring text = SignedWithListAt(server.Url(), certificate);
    const CStoredCertificate trusted(L"TrustedPublisher", certificate.Get());
    const auto verify = [&] { EXPECT_TRUE(CScriptVerifier().VerifyText(ScriptKind::VBScript, text).accepted); };
    // Far below the minutes for which the system would wait, far above what a busy machine adds.
    EXPECT_LT(SecondsOf(verify), 30);
    EXPECT_TRUE(server.WasAsked());
    EXPECT_LT(SecondsOf(verify), 4);
    EXPECT_FALSE(server.WasAsked());
}

TEST(Revocation, OnceALateAnswerHasComeTheListsAreAskedForAgain) {
    CSilentServer server;
    CUniqueCertificate certificate;
    SignedWithListAt(server.Url(), certificate);
    const CUniqueStore none(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    const CChainDemand demand{szOID_PKIX_KP_CODE_SIGNING, HoursFromNow(0), none.Get(), {}};
    EXPECT_FALSE(AskRevocationLists(certificate.Get(), demand));
    EXPECT_FALSE(AskRevocationLists(certificate.Get(), demand)) << "one question at a time";
    server.HangUp();
    const ULONGLONG end = GetTickCount64() + 60'000;
    bool answered = false;
    while (!answered && GetTickCount64() < end)
        answered = AskRevocationLists(certificate.Get(), demand).has_value();
    EXPECT_TRUE(answered);
}

/// Runs a program beside this one to its end; returns its exit code, or STILL_ACTIVE when it takes longer.
DWORD RunBeside(const std::wstring& name, const std::wstring& arguments, DWORD milliseconds) {
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring self = path;
    std::wstring commandLine = L"\"" + self.substr(0, self.find_last_of(L'\\') + 1) + name + L"\" " + arguments;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process))
        return GetLastError();
    const CUniqueHandle thread(process.hThread);
    const CUniqueHandle child(process.hProcess);
    DWORD code = STILL_ACTIVE;
    if (WaitForSingleObject(child.Get(), milliseconds) == WAIT_TIMEOUT)
        TerminateProcess(child.Get(), STILL_ACTIVE);
    else
        GetExitCodeProcess(child.Get(), &code);
    return code;
}

TEST(Revocation, AProgramEndsThoughItsQuestionIsStillOpen) {
    CSilentServer server;
    CUniqueCertificate certificate;
    const CTempFolder folder;
    const std::wstring text = SignedWithListAt(server.Url(), certificate);
    const CStoredCertificate trusted(L"TrustedPublisher", certificate.Get());
    const std::wstring path = folder.Write(L"a.vbs", std::string(text.begin(), text.end()));
    EXPECT_EQ(0u, RunBeside(L"quorline-sign.exe", L"verify \"" + path + L"\"", 60'000));
    EXPECT_TRUE(server.WasAsked());
}

TEST(Revocation, OfAListThatIsFoundAgainTheNextVerificationKnows) {
    CTempFolder folder;
    CCertificateRequest request = CodeSigningRequest(L"CN=Found Again");
    request.revocationListUrl = UrlOf(folder.Path(L"later.crl"));
    const CUniqueCertificate revoked = Authority().Issue(request);
    EXPECT_EQ(L"accepted", ReasonAgainst(revoked.Get()));
    folder.Write(L"later.crl", RevocationList(revoked.Get()));
    EXPECT_EQ(L"the certificate was revoked", ReasonAgainst(revoked.Get()));
}

} // namespace
