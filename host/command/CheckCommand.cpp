#include "AppsOption.h"
#include "Commands.h"
#include "JsonText.h"
#include "ScriptSyntax.h"
#include "cms/ScriptText.h"
#include "common/FileBytes.h"
#include "ScriptVerifier.h"
#include "SignerCommands.h"
#include "common/SignerErrors.h"

#include <filesystem>

namespace {
using nlohmann::ordered_json;

/// What there is to say of one script of the file.
struct CScriptReport {
    std::wstring path;
    std::vector<std::wstring> mistakes;
    std::wstring warning;
    CVerification verification;

    ordered_json Json() const {
        ordered_json entry{{"script", ToUtf8(path)}, {"mistakes", ordered_json::array()}};
        for (const auto& mistake : mistakes)
            entry["mistakes"].push_back(ToUtf8(mistake));
        if (verification.accepted) {
            entry["subject"] = ToUtf8(verification.subject);
            entry["validUntil"] = ToUtf8(DescribeTime(verification.validUntil));
        }
        if (!warning.empty())
            entry["warning"] = ToUtf8(warning);
        return entry;
    }
};

void CheckSignature(CScriptReport& report) {
    report.verification = CScriptVerifier().VerifyFile(report.path);
    if (!report.verification.accepted)
        report.mistakes.push_back(L"not accepted: " + report.verification.reason + L"; 'quorline sign' signs it");
    else if (!report.verification.stampedAt)
        report.warning = DescribeNearEnd(report.verification.validUntil);
}

/// One look for each thing that a script needs: the first that is missing would hide none of the others, but that of a
/// file which cannot be read.
CScriptReport CheckScript(const std::wstring& path) {
    CScriptReport report;
    report.path = path;
    try {
        const CScript script = ReadScriptFile(path);
        const std::wstring encoding = FindEncodingTrouble(ReadFileBytes(path));
        if (!encoding.empty())
            report.mistakes.push_back(encoding);
        CheckSignature(report);
        // Read in another encoding than was meant, a text has no syntax to speak of.
        if (encoding.empty())
            if (const auto error = FindSyntaxError(script))
                report.mistakes.push_back(L"syntax: " + error->Describe());
    } catch (const CCommandError& error) {
        report.mistakes.push_back(error.GetText());
    } catch (const CSignerError& error) {
        report.mistakes.push_back(error.Text());
    }
    return report;
}

/// Prints what was found; returns whether the script may be used.
bool PrintReport(const CScriptReport& report, const std::wstring& where) {
    const std::wstring script = where + L"'" + report.path + L"': ";
    for (const auto& mistake : report.mistakes)
        PrintError(script + mistake);
    if (!report.warning.empty())
        PrintError(L"warning: " + script + report.warning);
    if (report.mistakes.empty())
        PrintLine(L"  " + report.path + L": signed by " + report.verification.subject + L" until " +
                  DescribeTime(report.verification.validUntil));
    return report.mistakes.empty();
}

ExitCode RunCheck(const std::wstring& given, bool asJson) {
    const std::wstring file = AppsFileOf(given);
    const CAppsText apps = ExamineAppsText(ReadAppsBytes(file), file);
    ordered_json answer{
        {"file", ToUtf8(file)}, {"mistakes", ordered_json::array()}, {"applications", ordered_json::array()}};
    for (const auto& mistake : apps.mistakes) {
        PrintError(mistake);
        answer["mistakes"].push_back(ToUtf8(mistake));
    }
    bool good = apps.mistakes.empty();
    const std::filesystem::path folder = std::filesystem::path(file).parent_path();
    for (const CAppEntry& app : apps.entries) {
        PrintLine(app.friendlyName);
        auto scripts = ordered_json::array();
        for (const auto& [script, where] :
             {std::pair(app.saveScript, app.saveScriptWhere), std::pair(app.restoreScript, app.restoreScriptWhere)}) {
            if (script.empty())
                continue;
            const CScriptReport report = CheckScript((folder / script).wstring());
            good = PrintReport(report, where) && good;
            scripts.push_back(report.Json());
        }
        answer["applications"].push_back({{"application", ToUtf8(app.friendlyName)}, {"scripts", std::move(scripts)}});
    }
    PrintLine(good ? L"'" + file + L"' is in order" : L"'" + file + L"' has mistakes");
    if (asJson)
        PrintJson(answer);
    return good ? ExitCode::Done : ExitCode::BadInput;
}
} // namespace

void AddCheck(CCommandLine& line) {
    const auto file = std::make_shared<std::wstring>();
    CLI::App& command =
        line.Add({"check",
                  "Look for mistakes in the applications file and in the scripts that it names; nothing is run",
                  {"check", "check --apps apps.json"},
                  {ExitCode::Done, ExitCode::Failed},
                  R"({"file", "mistakes": [], "applications": [{"application", "scripts": [{"script", "mistakes": [],)"
                  R"( "subject", "validUntil", "warning"}]}]})"},
                 [file](const CCommonOptions& options) { return RunCheck(*file, options.json); });
    AddAppsOption(command, *file);
}
