#include "ScriptSignerCore.h"

#include "asn1/CertificateFields.h"
#include "certificates/CertificateStore.h"
#include "cms/IndirectData.h"
#include "cms/SignatureBlock.h"
#include "common/SignerErrors.h"
#include "base/PathHelper.h"

#include <algorithm>

namespace {

constexpr std::string_view StatementTypeOid = "1.3.6.1.4.1.311.2.1.11";
constexpr std::string_view IndividualPurposeOid = "1.3.6.1.4.1.311.2.1.21";
constexpr std::string_view OpusInfoOid = "1.3.6.1.4.1.311.2.1.12";

CBytes Attribute(std::string_view oid, const CBytes& value) {
    return DerSequence({DerOid(oid), DerElement(DerTag::Set, {value})});
}

/// The text that is to be signed: without the block that it may have.
std::wstring_view TextToSign(ScriptKind kind, std::wstring_view text) {
    try {
        const auto split = SplitSignedText(kind, text);
        const std::wstring_view body = split ? split->text : text;
        if (body.find(L'\0') != std::wstring_view::npos)
            throw CSignerError(E_INVALIDARG, L"the script holds a zero character; it would be run only up to there");
        if (kind == ScriptKind::VBScript && HasMark(body))
            throw CSignerError(E_INVALIDARG, L"the script begins with a byte-order mark, after which VBScript runs "
                                             L"nothing; save it as UTF-8 without the mark");
        return body;
    } catch (const CRefusal& refusal) {
        throw CSignerError(E_INVALIDARG,
                           L"remove what is left of an earlier signature block first: " + refusal.Reason());
    }
}

/// A file that is deleted unless it took another's place.
class CTemporaryFile {
public:
    CTemporaryFile(const std::wstring& beside, const CBytes& bytes)
        : m_path(beside + L".signing-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
                 std::to_wstring(GetCurrentThreadId()) + beside.substr(beside.find_last_of(L'.'))) {
        const CUniqueHandle file(CreateFileW(m_path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
        if (!file)
            ThrowLastError(L"cannot write '" + m_path + L"'");
        DWORD written = 0;
        if (!WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) ||
            written != bytes.size() || !FlushFileBuffers(file.Get())) {
            const DWORD error = GetLastError();
            DeleteFileW(m_path.c_str());
            ThrowSystemError(L"cannot write '" + m_path + L"'", HRESULT_FROM_WIN32(error));
        }
    }
    CTemporaryFile(const CTemporaryFile&) = delete;
    CTemporaryFile& operator=(const CTemporaryFile&) = delete;
    ~CTemporaryFile() { DeleteFileW(m_path.c_str()); }

    const std::wstring& Path() const noexcept { return m_path; }

private:
    std::wstring m_path;
};

} // namespace

CScriptSignerCore::CScriptSignerCore(const CSigningCertificate& certificate, CSignerPolicy policy)
    : m_certificate(certificate), m_key(certificate.Get()), m_verifier(policy) {}

/// The signer's own and those above it but the root, which every machine must have for itself.
std::vector<CBytes> CScriptSignerCore::CertificatesToSend() const {
    CERT_CHAIN_PARA parameters{};
    parameters.cbSize = sizeof parameters;
    CUniqueChain chain;
    std::vector<CBytes> certificates;
    if (CertGetCertificateChain(nullptr, m_certificate.Get(), nullptr, m_certificate.Store(), &parameters, 0, nullptr,
                                chain.Put()) &&
        chain.Get()->cChain > 0) {
        const CERT_SIMPLE_CHAIN& simple = *chain.Get()->rgpChain[0];
        for (DWORD i = 0; i < simple.cElement; ++i) {
            const PCCERT_CONTEXT certificate = simple.rgpElement[i]->pCertContext;
            const CBytesView bytes = EncodedBytes(certificate);
            if (i == 0 || !IsSelfIssued(certificate))
                certificates.emplace_back(bytes.begin(), bytes.end());
        }
    }
    if (certificates.empty()) {
        const CBytesView own = EncodedBytes(m_certificate.Get());
        certificates.emplace_back(own.begin(), own.end());
    }
    return certificates;
}

// Written by hand: Wine's CryptMsgOpenToEncode calls whatever is signed plain data and digests its tag and length, too.
CBytes CScriptSignerCore::MakeSignature(ScriptKind kind, std::wstring_view text) const {
    const CBytes content = FormatIndirectData(kind, {&Sha256, ComputeScriptDigest(Sha256, text)});
    CDerReader reader(content);
    const CBytes contentDigest = ComputeDigest(Sha256, reader.ReadAny().content);

    std::vector<CBytes> attributes;
    attributes.push_back(Attribute(szOID_RSA_contentType, DerOid(IndirectDataOid)));
    attributes.push_back(Attribute(szOID_RSA_messageDigest, DerOctets(contentDigest)));
    attributes.push_back(Attribute(StatementTypeOid, DerSequence({DerOid(IndividualPurposeOid)})));
    attributes.push_back(Attribute(OpusInfoOid, DerSequence({})));
    // Signed as a SET, stored under a tag of its own.
    CBytes signedAttributes = DerSetOf(std::move(attributes));
    const CBytes signature = m_key.Sign(Sha256, signedAttributes);
    signedAttributes.front() = DerTag::Context(0);

    const CERT_INFO* const own = m_certificate.Get()->pCertInfo;
    const CBytesView issuer(own->Issuer.pbData, own->Issuer.cbData);
    const CBytes serial = DerElement(DerTag::Integer, {ParseCertificate(EncodedBytes(m_certificate.Get())).serial});
    const CBytes algorithm = DerAlgorithm(Sha256.oid);
    const CBytes signerInfo = DerSequence({DerInteger(1), DerSequence({issuer, serial}), algorithm, signedAttributes,
                                           DerAlgorithm(szOID_RSA_RSA), DerOctets(signature)});
    const CBytes signedData =
        DerSequence({DerInteger(1), DerElement(DerTag::Set, {algorithm}),
                     DerSequence({DerOid(IndirectDataOid), DerElement(DerTag::Context(0), {content})}),
                     DerSetOf(CertificatesToSend(), DerTag::Context(0)), DerElement(DerTag::Set, {signerInfo})});
    return DerSequence({DerOid(szOID_RSA_signedData), DerElement(DerTag::Context(0), {signedData})});
}

std::wstring CScriptSignerCore::SignText(ScriptKind kind, std::wstring_view text) const {
    const std::wstring_view body = TextToSign(kind, text);
    return std::wstring(body) + FormatSignatureBlock(kind, MakeSignature(kind, body));
}

CVerification CScriptSignerCore::SignFile(const std::wstring& fileName) const {
    const std::wstring path = FullPath(fileName);
    const ScriptKind kind = ScriptKindOf(path);
    const CScriptFile script(path);
    const std::wstring_view body = TextToSign(kind, script.Text());
    const CTemporaryFile copy(path, script.Replace(body.size(), FormatSignatureBlock(kind, MakeSignature(kind, body))));
    CVerification verification = m_verifier.VerifyFile(copy.Path());
    if (!verification.accepted)
        throw CSignerError(TRUST_E_SUBJECT_NOT_TRUSTED, L"'" + path +
                                                            L"' was left unsigned, since this machine would not accept "
                                                            L"the result: " +
                                                            verification.reason);
    if (!ReplaceFileW(path.c_str(), copy.Path().c_str(), nullptr, REPLACEFILE_IGNORE_MERGE_ERRORS, nullptr, nullptr))
        ThrowLastError(L"cannot replace '" + path + L"'");
    return verification;
}
