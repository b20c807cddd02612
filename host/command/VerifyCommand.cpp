#include "Commands.h"
#include "JsonText.h"
#include "ScriptVerifier.h"
#include "SignerCommands.h"
#include "common/SignerErrors.h"

namespace {
using nlohmann::ordered_json;

/// Who signed, and how long that holds.
std::wstring DescribeSigner(const CVerification& verification) {
    std::wstring text = verification.subject + L" (" + verification.thumbprint + L"), valid from " +
                        DescribeTime(verification.validFrom) + L" until " + DescribeTime(verification.validUntil);
    if (verification.stampedAt)
        text += L", time stamp " + DescribeTime(*verification.stampedAt);
    return text;
}

void DescribeSigner(const CVerification& verification, ordered_json& entry) {
    entry["subject"] = ToUtf8(verification.subject);
    entry["thumbprint"] = ToUtf8(verification.thumbprint);
    entry["validFrom"] = ToUtf8(DescribeTime(verification.validFrom));
    entry["validUntil"] = ToUtf8(DescribeTime(verification.validUntil));
    if (verification.stampedAt)
        entry["stampedAt"] = ToUtf8(DescribeTime(*verification.stampedAt));
}

void PrintAccepted(const std::wstring& script, const CVerification& verification, ordered_json& entry) {
    PrintLine(script + L": signed by " + DescribeSigner(verification));
    // A time stamp outlives the certificate.
    const std::wstring ending = verification.stampedAt ? L"" : DescribeNearEnd(verification.validUntil);
    if (ending.empty())
        return;
    PrintError(L"warning: " + script + L": " + ending + L"; sign it again with a new one before");
    entry["warning"] = ToUtf8(ending);
}

/// Why a script is not accepted goes to the troubles.
ordered_json VerifyScript(const std::wstring& script) {
    ordered_json entry{{"script", ToUtf8(script)}, {"accepted", false}};
    try {
        const CVerification verification = CScriptVerifier().VerifyFile(script);
        entry["accepted"] = verification.accepted;
        if (!verification.subject.empty())
            DescribeSigner(verification, entry);
        if (verification.accepted) {
            PrintAccepted(script, verification, entry);
        } else {
            PrintError(script + L": not accepted: " + verification.reason +
                       (verification.subject.empty() ? L"" : L" (certificate: " + DescribeSigner(verification) + L")") +
                       L"; 'quorline sign' signs it anew, and the operator's guide tells more of each reason");
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
                  R"({"scripts": [{"script", "accepted", and what is known of: "subject", "thumbprint", "validFrom",)"
                  R"( "validUntil", "stampedAt", "warning", "problem"}]})"},
                 [scripts](const CCommonOptions& options) { return RunVerify(*scripts, options.json); });
    AddTexts(command, "SCRIPT", *scripts, ".vbs or .js files")->required();
}
