#include "certificates/CertificateStore.h"
#include "Commands.h"
#include "JsonText.h"
#include "ScriptSignerCore.h"
#include "cms/ScriptText.h"
#include "common/FileBytes.h"
#include "SignerCommands.h"
#include "common/SignerErrors.h"

namespace {
struct CSignRequest {
    std::vector<std::wstring> scripts;
    std::wstring pfxFile;
    std::wstring thumbprint;
};

/// Each script is signed by itself: one that fails does not keep the others from it.
ExitCode RunSign(const CSignRequest& request, bool asJson) {
    const CSigningCertificate certificate = FindSigningCertificate(request.pfxFile, request.thumbprint);
    const CScriptSignerCore signer(certificate);
    const std::wstring subject = SubjectOf(certificate.Get());
    const std::wstring thumbprint = ThumbprintOf(certificate.Get());
    const std::wstring signedBy = L": signed by " + subject + L" (" + thumbprint + L")";
    ExitCode code = ExitCode::Done;
    auto list = nlohmann::ordered_json::array();
    for (const std::wstring& script : request.scripts) {
        nlohmann::ordered_json entry{{"script", ToUtf8(script)}};
        try {
            // The signature would hold, and the script would not run.
            if (const std::wstring trouble = FindEncodingTrouble(ReadFileBytes(script)); !trouble.empty())
                throw CSignerError(E_INVALIDARG,
                                   std::wstring(L"'").append(script).append(L"' was left unsigned: ").append(trouble));
            signer.SignFile(script);
            PrintLine(script + signedBy);
            entry["subject"] = ToUtf8(subject);
            entry["thumbprint"] = ToUtf8(thumbprint);
        } catch (const CSignerError& error) {
            PrintError(error.Text());
            entry["problem"] = ToUtf8(error.Text());
            code = ExitCode::Failed;
        }
        list.push_back(std::move(entry));
    }
    if (asJson)
        PrintJson({{"scripts", std::move(list)}});
    return code;
}
} // namespace

void AddSign(CCommandLine& line) {
    const auto request = std::make_shared<CSignRequest>();
    CLI::App& command = line.Add({"sign",
                                  "Sign scripts",
                                  {"sign save.vbs restore.vbs", "sign save.vbs --cert codesign.pfx"},
                                  {ExitCode::Done, ExitCode::Failed},
                                  R"({"scripts": [{"script", "subject", "thumbprint"} or {"script", "problem"}]})"},
                                 [request](const CCommonOptions& options) { return RunSign(*request, options.json); });
    AddTexts(command, "SCRIPT", request->scripts, ".vbs or .js files")->required();
    CLI::Option* file = AddText(command, "--cert", request->pfxFile,
                                ".pfx file with the certificate and its key; its password is taken from the "
                                "environment variable QUORLINE_PFX_PASSWORD");
    AddText(command, "--thumbprint", request->thumbprint,
            "The certificate in the stores, by thumbprint or name; with neither, the only one there")
        ->excludes(file);
}
