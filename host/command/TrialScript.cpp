#include "TrialScript.h"

#include "Console.h"
#include "ExitCode.h"
#include "ScriptSignerCore.h"
#include "common/SignerErrors.h"

#include <filesystem>

namespace {
/// The verifier's word for it.
constexpr const wchar_t* NotSigned = L"it is not signed";
/// The subject of what "cert --new-development" makes.
constexpr const wchar_t* DevelopmentName = L"Quorline Development";

[[noreturn]] void Refuse(const std::wstring& script, const std::wstring& why) {
    throw CCommandError(ExitCode::Failed,
                        L"the script '" + script +
                            L"' is not signed, nothing unsigned runs, and a copy cannot be "
                            L"signed for the trial: " +
                            why +
                            L"; run: quorline cert --new-development --out development.cer, then as administrator: "
                            L"quorline trust development.cer");
}
} // namespace

std::wstring MakeTrialScript(const std::wstring& script, const std::wstring& folder) {
    try {
        const CVerification verification = CScriptVerifier().VerifyFile(script);
        if (verification.accepted)
            return script;
        if (verification.reason != NotSigned)
            throw CCommandError(ExitCode::Failed, L"the script '" + script + L"' is refused: " + verification.reason +
                                                      L"; sign it again: quorline sign " + script);
    } catch (const CSignerError& error) {
        throw CCommandError(ExitCode::Failed, error.Text());
    }
    const std::filesystem::path copy = std::filesystem::path(folder) / std::filesystem::path(script).filename();
    try {
        const CSigningCertificate certificate = CSigningCertificate::FromStore(DevelopmentName, L"");
        std::filesystem::copy_file(script, copy);
        CScriptSignerCore(certificate)
            .SignFile(copy.wstring()); // refuses a certificate that this machine does not trust
    } catch (const CSignerError& error) {
        Refuse(script, error.Text());
    } catch (const std::filesystem::filesystem_error& error) {
        Refuse(script, FromUtf8(error.what()));
    }
    PrintLine(L"signed     a copy for this trial, with the certificate '" + std::wstring(DevelopmentName) + L"'");
    return copy.wstring();
}
