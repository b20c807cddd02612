#include "Commands.h"
#include "JsonText.h"
#include "ScriptVerifier.h"
#include "SignerCommands.h"
#include "common/SignerErrors.h"

namespace {
using nlohmann::ordered_json;

/// Why a script is not accepted goes to the troubles.
ordered_json VerifyScript(const std::wstring& script) {
    ordered_json entry{{"script", ToUtf8(script)}, {"accepted", false}};
    try {
        const CVerification verification = CScriptVerifier().VerifyFile(script);
        entry["accepted"] = verification.accepted;
        if (!verification.subject.empty())
            entry["subject"] = ToUtf8(verification.subject);
        if (verification.accepted) {
            std::wstring text = script + L": signed by " + verification.subject;
            if (verification.stampedAt) {
                text += L", time stamp " + DescribeTime(*verification.stampedAt);
                entry["stampedAt"] = ToUtf8(DescribeTime(*verification.stampedAt));
            }
            PrintLine(text);
        } else {
            PrintError(script + L": not accepted: " + verification.reason +
                       (verification.subject.empty() ? L"" : L" (certificate: " + verification.subject + L")"));
            entry["problem"] = ToUtf8(verification.reason);
        }
    } catch (const CSignerError& error) {
        PrintError(error.Text());
        entry["problem"] = ToUtf8(error.Text());
    }
    return entry;
}

ExitCode RunVerify(const std::vector<std::wstring>& scripts, bool asJson) {
    ExitCode code = ExitCode::Done;
    auto list = ordered_json::array();
    for (const std::wstring& script : scripts) {
        list.push_back(VerifyScript(script));
        if (!list.back()["accepted"])
            code = ExitCode::Failed;
    }
    if (asJson)
        PrintJson({{"scripts", std::move(list)}});
    return code;
}
} // namespace

void AddVerify(CCommandLine& line) {
    const auto scripts = std::make_shared<std::vector<std::wstring>>();
    CLI::App& command =
        line.Add({"verify",
                  "Tell whether scripts are signed, unchanged and trusted",
                  {"verify save.vbs restore.vbs"},
                  {ExitCode::Done, ExitCode::Failed},
                  R"({"scripts": [{"script", "accepted", "subject", "stampedAt", "problem"}]}, what is known of them)"},
                 [scripts](const CCommonOptions& options) { return RunVerify(*scripts, options.json); });
    AddTexts(command, "SCRIPT", *scripts, ".vbs or .js files")->required();
}
