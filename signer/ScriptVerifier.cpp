#include "ScriptVerifier.h"

#include "certificates/CertificateBag.h"
#include "certificates/CertificateChain.h"
#include "certificates/CertificateStore.h"
#include "certificates/MachineStores.h"
#include "cms/IndirectData.h"
#include "cms/SignatureBlock.h"
#include "cms/SignedData.h"
#include "cms/TimeStamp.h"
#include "common/SignerErrors.h"
#include "common/SignerLog.h"

namespace {

std::wstring DescribeRefusal(const std::wstring& what, const CVerification& verification) {
    return L"Refused " + what + L": " + verification.reason + L". Certificate: " +
           (verification.subject.empty() ? std::wstring(L"none") : verification.subject);
}

} // namespace

CVerification CScriptVerifier::VerifyText(ScriptKind kind, std::wstring_view text) const {
    return Verify(kind, text, L"a script");
}

CVerification CScriptVerifier::VerifyFile(const std::wstring& path) const {
    const ScriptKind kind = ScriptKindOf(path);
    const std::wstring what = L"'" + path + L"'";
    try {
        return Verify(kind, CScriptFile(path).Text(), what);
    } catch (const CSignerError& error) {
        if (error.Result() != HRESULT_FROM_WIN32(ERROR_NO_UNICODE_TRANSLATION))
            throw;
        CVerification verification;
        verification.reason = error.Text();
        LogVerification(log4cxx::Level::getWarn(), DescribeRefusal(what, verification));
        return verification;
    }
}

CVerification CScriptVerifier::Verify(ScriptKind kind, std::wstring_view text, const std::wstring& what) const {
    CVerification verification;
    try {
        Check(kind, text, verification);
        verification.accepted = true;
    } catch (const CRefusal& refusal) {
        verification.reason = refusal.Reason();
        LogVerification(log4cxx::Level::getWarn(), DescribeRefusal(what, verification));
    }
    return verification;
}

void CScriptVerifier::Check(ScriptKind kind, std::wstring_view text, CVerification& verification) const {
    const std::optional<CSignedText> script = SplitSignedText(kind, text);
    if (!script)
        throw CRefusal(L"it is not signed");
    // Whoever loads a script as a text that ends with a zero would run something else than was signed.
    if (script->text.find(L'\0') != std::wstring_view::npos)
        throw CRefusal(L"it holds a zero character");
    // The mark is not signed: anybody could add it, and the script would end without having done anything.
    if (kind == ScriptKind::VBScript && HasMark(text))
        throw CRefusal(
            L"it begins with a byte-order mark, after which VBScript runs nothing: save it as UTF-8 without the "
            L"mark and sign it again");

    const CSignedData data = ParseSignedData(script->signature);
    if (data.contentType != IndirectDataOid)
        throw CRefusal(L"the signature is not that of a script");
    const CCertificateBag certificates(data.certificates);
    const PCCERT_CONTEXT publisher = certificates.FindSigner(data.signer.issuer, data.signer.serial);
    verification.subject = SubjectOf(publisher);
    verification.thumbprint = ThumbprintOf(publisher);
    verification.validFrom = publisher->pCertInfo->NotBefore;
    verification.validUntil = publisher->pCertInfo->NotAfter;

    const CIndirectData content = ParseIndirectData(kind, data.content);
    if ((content.algorithm->weak || data.signer.digest->weak) && !m_policy.acceptSha1)
        throw CRefusal(L"the signature is made with SHA-1, which this machine does not accept");
    RequireSignature(data.signer, publisher, IndirectDataOid, ComputeDigest(*data.signer.digest, data.covered));
    if (!SameBytes(content.digest, ComputeScriptDigest(*content.algorithm, script->text)))
        throw CRefusal(L"the script was altered after it was signed");

    verification.stampedAt = ReadTimeStamp(data.signer, certificates, m_policy);
    FILETIME at{};
    GetSystemTimeAsFileTime(&at);
    RequireTrustedChain(
        publisher, {szOID_PKIX_KP_CODE_SIGNING, verification.stampedAt.value_or(at), certificates.Store(), m_policy});
    const CUniqueStore publishers = CMachineStores::Instance().Open(L"TrustedPublisher");
    if (!m_policy.anyTrustedRoot && !StoreHolds(publishers.Get(), publisher))
        throw CRefusal(L"its publisher is not one of this machine's trusted publishers");
    certificates.RequireGenuine(publisher);
}
