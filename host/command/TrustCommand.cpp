#include "certificates/CertificateStore.h"
#include "Commands.h"
#include "JsonText.h"
#include "OwnProgram.h"
#include "SignerCommands.h"
#include "common/SignerErrors.h"

namespace {
using nlohmann::ordered_json;

ordered_json Describe(PCCERT_CONTEXT certificate, const CTrustPlaces& places) {
    return {{"subject", ToUtf8(SubjectOf(certificate))},
            {"thumbprint", ToUtf8(ThumbprintOf(certificate))},
            {"root", places.root},
            {"publisher", places.publisher}};
}

ordered_json Trust(PCCERT_CONTEXT certificate, ExitCode& code) {
    const std::wstring subject = SubjectOf(certificate);
    const CTrustPlaces places = PlacesFor(certificate);
    TrustCertificate(certificate, places);
    if (places.root)
        PrintLine(subject + L": now a trusted root, for programs started from now on");
    if (places.publisher)
        PrintLine(subject + L": now a trusted publisher");
    if (!places.root && !places.publisher) {
        PrintError(subject + L": neither a root nor for code signing, nothing to trust; name the file of a root, or "
                             L"of a certificate that signs scripts");
        code = ExitCode::Failed;
    }
    return Describe(certificate, places);
}

ordered_json Distrust(PCCERT_CONTEXT certificate) {
    const std::wstring subject = SubjectOf(certificate);
    const CTrustPlaces were = DistrustCertificate(certificate);
    if (were.root)
        PrintLine(subject + L": no trusted root any more, for programs started from now on");
    if (were.publisher)
        PrintLine(subject + L": no trusted publisher any more");
    if (!were.root && !were.publisher)
        PrintLine(subject + L": was not trusted");
    return Describe(certificate, were);
}

/// Says beside what failed what to do about it.
template <class Work> auto AsAdministrator(const Work& work) {
    try {
        return work();
    } catch (const CSignerError& error) {
        if (error.Result() != E_ACCESSDENIED)
            throw;
        throw CCommandError(ExitCode::Failed, error.Text() + L"; run this as administrator");
    }
}

/// What this process has open is not what others find there: a new one is asked.
void RequireLasting(const std::wstring& file, const wchar_t* question, const wchar_t* trouble) {
    if (RunOwnProgram(std::wstring(question) + L" --quiet -- " + QuoteArgument(file)) != 0)
        throw CCommandError(ExitCode::Failed, std::wstring(trouble) + L" '" + file +
                                                  L"'; run this as administrator, and see whether a policy manages "
                                                  L"this machine's certificates.");
}

ExitCode RunTrust(const std::wstring& file, bool asJson) {
    ExitCode code = ExitCode::Done;
    auto list = ordered_json::array();
    for (const CUniqueCertificate& certificate : ReadCertificates(file))
        list.push_back(AsAdministrator([&] { return Trust(certificate.Get(), code); }));
    RequireLasting(file, L"trusted", L"this machine did not keep what is in");
    if (asJson)
        PrintJson({{"certificates", std::move(list)}});
    return code;
}

ExitCode RunDistrust(const std::wstring& file, bool asJson) {
    auto list = ordered_json::array();
    for (const CUniqueCertificate& certificate : ReadCertificates(file))
        list.push_back(AsAdministrator([&] { return Distrust(certificate.Get()); }));
    RequireLasting(file, L"untrusted", L"this machine still trusts what is in");
    if (asJson)
        PrintJson({{"certificates", std::move(list)}});
    return ExitCode::Done;
}

/// Whether each certificate of a file is where `trust` puts it.
ExitCode AskTrusted(const std::wstring& file) {
    for (const CUniqueCertificate& certificate : ReadCertificates(file))
        if (FindTrust(certificate.Get()) != PlacesFor(certificate.Get()))
            return ExitCode::Failed;
    return ExitCode::Done;
}

ExitCode AskUntrusted(const std::wstring& file) {
    for (const CUniqueCertificate& certificate : ReadCertificates(file))
        if (FindTrust(certificate.Get()) != CTrustPlaces{false, false})
            return ExitCode::Failed;
    return ExitCode::Done;
}

CLI::App& AddFileCommand(CCommandLine& line, const CCommandHelp& help,
                         const std::function<ExitCode(const std::wstring&, bool)>& run) {
    const auto file = std::make_shared<std::wstring>();
    CLI::App& command = line.Add(help, [file, run](const CCommonOptions& options) { return run(*file, options.json); });
    AddText(command, "CERT", *file, "File with certificates, DER or PEM")->required();
    return command;
}

/// A question of the commands here to a new process; nobody types it, and no help names it.
void AddQuestion(CCommandLine& line, const char* name, ExitCode (*ask)(const std::wstring&)) {
    AddFileCommand(line, {name, "", {}, {ExitCode::Done, ExitCode::Failed}}, [ask](const std::wstring& file, bool) {
        return ask(file);
    }).group("");
}
} // namespace

void AddTrust(CCommandLine& line) {
    AddFileCommand(line,
                   {"trust",
                    "Trust a certificate on this machine: as a root, as a publisher, or both",
                    {"trust quorline-development.cer"},
                    {ExitCode::Done, ExitCode::Failed},
                    R"({"certificates": [{"subject", "thumbprint", "root", "publisher"}]})"},
                   &RunTrust);
    AddFileCommand(line,
                   {"distrust",
                    "Take back what trust did, in both stores",
                    {"distrust quorline-development.cer"},
                    {ExitCode::Done, ExitCode::Failed},
                    R"({"certificates": [{"subject", "thumbprint", "root", "publisher": whether it was one}]})"},
                   &RunDistrust);
    AddQuestion(line, "trusted", &AskTrusted);
    AddQuestion(line, "untrusted", &AskUntrusted);
}
