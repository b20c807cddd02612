// quorline.exe: saves and restores the documents of protected applications around a power state change.

#include "Commands.h"
#include "Console.h"
#include "SignerCommands.h"
#include "base/Exceptions.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <sstream>

namespace {
/// The command that was chosen, run after the whole line has been understood.
using Action = std::function<ExitCode()>;

void ForEachLine(const std::wstring& text, void (*print)(std::wstring_view)) {
    std::wistringstream lines(text);
    for (std::wstring line; std::getline(lines, line);)
        print(line);
}

void AddSave(CLI::App& app, Action& action) {
    auto* command = app.add_subcommand("save", "Run the save scripts of the running protected applications");
    auto state = std::make_shared<std::string>();
    auto apps = std::make_shared<std::string>();
    command->add_option("--state", *state, "The state the machine is about to enter, such as hibernate")->required();
    command->add_option("--apps", *apps, "JSON file that lists the protected applications")->required();
    command->callback([=, &action] { action = [=] { return RunSave(FromUtf8(*state), FromUtf8(*apps)); }; });
}

void AddHistory(CLI::App& app, Action& action) {
    auto* command = app.add_subcommand("history", "List the saved documents, those not yet recovered first");
    auto json = std::make_shared<bool>(false);
    command->add_flag("--json", *json, "Print JSON");
    command->callback([=, &action] { action = [=] { return RunHistory(*json); }; });
}

void AddRestore(CLI::App& app, Action& action) {
    auto* command = app.add_subcommand("restore", "Run the restore scripts of saved documents");
    auto all = std::make_shared<bool>(false);
    auto target = std::make_shared<std::string>();
    auto apps = std::make_shared<std::string>();
    auto script = std::make_shared<std::string>();
    auto* allFlag = command->add_flag("--all", *all, "Every document that was not recovered yet");
    auto* name = command->add_option("target", *target, "A store, or one document (again, if it was restored before)");
    name->excludes(allFlag);
    command->add_option("--apps", *apps, "JSON file that lists the protected applications");
    command->add_option("--with", *script, "Run this restore script for each document, whatever its record says");
    command->callback([=, &action] {
        if (!*all && target->empty())
            throw CLI::ValidationError("restore", "name a store or a document, or give --all");
        if (apps->empty() && script->empty())
            throw CLI::ValidationError("restore", "name the applications file with --apps, or a script with --with");
        action = [=] { return RunRestore({*all, FromUtf8(*target), FromUtf8(*apps), FromUtf8(*script)}); };
    });
}

/// The signing commands read their arguments themselves.
void AddSigning(CLI::App& app, Action& action) {
    struct CSigningCommand {
        const char* name;
        const char* description;
        int (*run)(const CArguments&, std::wostream&, std::wostream&);
    };
    constexpr CSigningCommand Commands[] = {
        {"sign", "Sign scripts: SCRIPT... [--cert FILE.pfx | --thumbprint T]", &RunSign},
        {"verify", "Tell whether scripts are signed, unchanged and trusted: SCRIPT...", &RunVerify},
        {"trust", "Trust a certificate on this machine: CERT", &RunTrust},
        {"cert", "Make a development certificate: --new-development [--out FILE]", &RunCert}};
    for (const auto& signing : Commands) {
        auto* command = app.add_subcommand(signing.name, signing.description);
        command->prefix_command();
        command->set_help_flag();
        command->callback([=, &action] {
            action = [=] {
                CArguments arguments;
                for (const auto& argument : command->remaining())
                    arguments.push_back(FromUtf8(argument));
                std::wostringstream out;
                std::wostringstream err;
                const int result = signing.run(arguments, out, err);
                ForEachLine(out.str(), &PrintLine);
                ForEachLine(err.str(), &PrintError);
                return static_cast<ExitCode>(result);
            };
        });
    }
}

std::string DescribeExitCodes() {
    std::string text = "Exit codes:";
    for (const auto& [code, meaning] : ExitCodeMeanings)
        text += "\n  " + std::to_string(static_cast<int>(code)) + "  " + ToUtf8(meaning);
    return text;
}

std::vector<std::string> Utf8Arguments(int count, wchar_t** values) {
    std::vector<std::string> arguments;
    for (int i = count - 1; i > 0; --i) // CLI11 takes them last first
        arguments.push_back(ToUtf8(values[i]));
    return arguments;
}

int Run(int count, wchar_t** values) {
    CLI::App app("Saves the open documents of protected applications before a power state change and restores them.",
                 "quorline");
    app.require_subcommand(1);
    app.footer(DescribeExitCodes());
    Action action;
    AddSave(app, action);
    AddHistory(app, action);
    AddRestore(app, action);
    AddSigning(app, action);
    try {
        app.parse(Utf8Arguments(count, values));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success))
            return app.exit(error); // help
        PrintError(FromUtf8(error.what()));
        return static_cast<int>(ExitCode::BadInput);
    }
    return static_cast<int>(action());
}
} // namespace

int wmain(int count, wchar_t** values) {
    try {
        return Run(count, values);
    } catch (const CCommandError& error) {
        PrintError(error.GetText());
        return static_cast<int>(error.GetCode());
    } catch (const std::exception& error) {
        PrintError(L"unexpected failure: " + FromUtf8(error.what()));
        return static_cast<int>(ExitCode::Failed);
    }
}
