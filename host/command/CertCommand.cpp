#include "certificates/CertificateStore.h"
#include "Commands.h"
#include "JsonText.h"
#include "SignerCommands.h"

namespace {
struct CCertRequest {
    bool newDevelopment = false;
    std::wstring path = L"quorline-development.cer";
};

ExitCode RunCert(const CCertRequest& request, const CCommonOptions& options) {
    const CUniqueCertificate certificate = WriteDevelopmentCertificate(request.path);
    const std::wstring subject = SubjectOf(certificate.Get());
    const std::wstring thumbprint = ThumbprintOf(certificate.Get());
    PrintLine(subject + L" (" + thumbprint + L"): written to " + request.path + L"; 'trust " + request.path +
              L"' makes this machine accept what it signs");
    if (options.json)
        PrintJson({{"subject", ToUtf8(subject)}, {"thumbprint", ToUtf8(thumbprint)}, {"file", ToUtf8(request.path)}});
    return ExitCode::Done;
}
} // namespace

void AddCert(CCommandLine& line) {
    const auto request = std::make_shared<CCertRequest>();
    CLI::App& command = line.Add({"cert",
                                  "Make a development certificate, which signs scripts for this machine",
                                  {"cert --new-development --out development.cer"},
                                  {ExitCode::Done, ExitCode::Failed},
                                  R"({"subject", "thumbprint", "file"})"},
                                 [request](const CCommonOptions& options) { return RunCert(*request, options); });
    command.add_flag("--new-development", request->newDevelopment, "A new one, its key kept for the current user")
        ->required();
    AddText(command, "--out", request->path, "The file for the certificate without its key (quorline-development.cer)");
}
