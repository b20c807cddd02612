#include "certificates/CertificateStore.h"
#include "Commands.h"
#include "JsonText.h"
#include "SignerCommands.h"

namespace {
using nlohmann::ordered_json;

ordered_json Trust(PCCERT_CONTEXT certificate) {
    const std::wstring subject = SubjectOf(certificate);
    const CTrustPlaces places(certificate);
    TrustCertificate(certificate, places);
    if (places.root)
        PrintLine(subject + L": now a trusted root, for programs started from now on");
    if (places.publisher)
        PrintLine(subject + L": now a trusted publisher");
    if (!places.root && !places.publisher)
        PrintError(subject + L": neither a root nor for code signing; nothing to trust");
    return {{"subject", ToUtf8(subject)},
            {"thumbprint", ToUtf8(ThumbprintOf(certificate))},
            {"root", places.root},
            {"publisher", places.publisher}};
}

ExitCode RunTrust(const std::wstring& file, bool asJson) {
    ExitCode code = ExitCode::Done;
    auto list = ordered_json::array();
    for (const CUniqueCertificate& certificate : ReadCertificates(file)) {
        list.push_back(Trust(certificate.Get()));
        if (!list.back()["root"] && !list.back()["publisher"])
            code = ExitCode::Failed;
    }
    if (asJson)
        PrintJson({{"certificates", std::move(list)}});
    return code;
}
} // namespace

void AddTrust(CCommandLine& line) {
    const auto file = std::make_shared<std::wstring>();
    CLI::App& command = line.Add({"trust",
                                  "Trust a certificate on this machine: as a root, as a publisher, or both",
                                  {"trust quorline-development.cer"},
                                  {ExitCode::Done, ExitCode::Failed},
                                  R"({"certificates": [{"subject", "thumbprint", "root", "publisher"}]})"},
                                 [file](const CCommonOptions& options) { return RunTrust(*file, options.json); });
    AddText(command, "CERT", *file, "File with certificates, DER or PEM")->required();
}
