#pragma once

// Signs scripts with one certificate. A script that is signed already gets a new block in place of the old one.
//
//     const auto certificate = CSigningCertificate::FromPfx(L"codesign.pfx", password);
//     CScriptSignerCore(certificate).SignFile(L"save.vbs");

#include "certificates/SigningCertificate.h"
#include "cms/ScriptText.h"
#include "crypto/SigningKey.h"
#include "ScriptVerifier.h"

class CScriptSignerCore {
public:
    /// The certificate must outlive this object. Throws CSignerError when its key cannot be used.
    explicit CScriptSignerCore(const CSigningCertificate& certificate,
                               CSignerPolicy policy = CSignerPolicy::OfMachine());

    /// The text with its block. Whether this machine trusts the certificate is not asked. Throws CSignerError, also for
    /// a text with a damaged block or with a zero character, and for a VBScript with a byte-order mark.
    std::wstring SignText(ScriptKind kind, std::wstring_view text) const;

    /// Replaces the file only after the signed copy beside it has been verified on this machine. Throws CSignerError;
    /// the file is then as it was and no copy is left.
    CVerification SignFile(const std::wstring& fileName) const;

private:
    CBytes MakeSignature(ScriptKind kind, std::wstring_view text) const;
    std::vector<CBytes> CertificatesToSend() const;

    const CSigningCertificate& m_certificate;
    CSigningKey m_key;
    CScriptVerifier m_verifier;
};
