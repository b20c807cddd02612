#pragma once

// Whether a script carries a valid signature of somebody whom this machine trusts to publish scripts. Each refusal is
// one line in the log, with the reason and the certificate's subject. Stateless but for its policy: any thread may ask
// any object at any time.
//
//     const CVerification verification = CScriptVerifier().VerifyText(ScriptKind::VBScript, text);
//     if (!verification.accepted) ...

#include "cms/ScriptText.h"
#include "common/SignerPolicy.h"

#include <optional>
#include <string>

struct CVerification {
    bool accepted = false;
    /// Why not; empty when accepted.
    std::wstring reason;
    /// The signer's certificate, once it is known; empty before.
    std::wstring subject;
    std::wstring thumbprint;
    /// From when and until when the certificate is valid, all zero before it is known; UTC as the next.
    FILETIME validFrom{};
    FILETIME validUntil{};
    std::optional<FILETIME> stampedAt;
};

class CScriptVerifier {
public:
    explicit CScriptVerifier(CSignerPolicy policy = CSignerPolicy::OfMachine()) noexcept : m_policy(policy) {}

    /// Throws CSignerError only when the system is at fault.
    CVerification VerifyText(ScriptKind kind, std::wstring_view text) const;
    /// Throws CSignerError when the file cannot be read or is no .vbs or .js; a file in another encoding is refused.
    CVerification VerifyFile(const std::wstring& path) const;

private:
    CVerification Verify(ScriptKind kind, std::wstring_view text, const std::wstring& what) const;
    void Check(ScriptKind kind, std::wstring_view text, CVerification& verification) const;

    CSignerPolicy m_policy;
};
