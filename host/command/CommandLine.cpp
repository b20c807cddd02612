#include "CommandLine.h"

#include "Console.h"
#include "NearestName.h"
#include "QuorlineVersion.h"
#include "common/SignerErrors.h"

#include <log4cxx/logger.h>

#include <algorithm>

namespace {
std::string DescribeExitCodes(const std::vector<ExitCode>& codes) {
    std::string text = "Exit codes:";
    for (const auto& [code, meaning] : ExitCodeMeanings)
        if (codes.empty() || code == ExitCode::BadInput || std::find(codes.begin(), codes.end(), code) != codes.end())
            text += "\n  " + std::to_string(static_cast<int>(code)) + "  " + ToUtf8(meaning);
    return text;
}

std::string DescribeCommand(const std::string& program, const CCommandHelp& help) {
    std::string text = help.examples.size() == 1 ? "Example:" : "Examples:";
    for (const char* example : help.examples)
        text += "\n  " + program + " " + example;
    if (help.json != nullptr)
        text += std::string("\n\nWith --json:\n  ") + help.json;
    return text + "\n\n" + DescribeExitCodes(help.codes);
}

std::vector<std::string> NamesOfCommands(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command :
         app.get_subcommands([](const CLI::App* found) { return !found->get_group().empty(); }))
        names.push_back(command->get_name());
    return names;
}

std::vector<std::string> NamesOfOptions(const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::Option* option : command.get_options())
        for (const std::string& name : option->get_lnames())
            names.push_back(name);
    return names;
}

std::string DidYouMean(const std::string& hyphens, std::string_view typed, const std::vector<std::string>& names) {
    const std::string nearest = FindNearestName(typed, names);
    return nearest.empty() ? "" : "did you mean '" + hyphens + nearest + "'? ";
}

std::string_view NameInOption(std::string_view typed) {
    typed.remove_prefix(std::min(typed.find_first_not_of('-'), typed.size()));
    return typed.substr(0, typed.find('='));
}

std::vector<std::string> Utf8Arguments(int count, wchar_t** values) {
    std::vector<std::string> arguments;
    for (int i = count - 1; i > 0; --i) // CLI11 takes them last first
        arguments.push_back(ToUtf8(values[i]));
    return arguments;
}

std::string RefuseEmpty(std::string& value) {
    return value.empty() ? "needs a value" : "";
}
} // namespace

CCommandLine::CCommandLine(const char* program, const char* purpose, LibraryLog log)
    : m_app(purpose, program), m_log(log) {
    m_app.require_subcommand(1);
    // A path may begin with a slash here, too.
    m_app.allow_windows_style_options(false);
    m_app.set_version_flag("--version", std::string(program) + " " QUORLINE_FILE_VERSION, "Print the version");
    m_app.footer("'" + std::string(program) + " COMMAND --help' tells more of each.\n\n" + DescribeExitCodes({}));
}

CLI::App& CCommandLine::Add(const CCommandHelp& help, const Work& work) {
    CLI::App& command = *m_app.add_subcommand(help.name, help.purpose);
    command.footer(DescribeCommand(m_app.get_name(), help));
    AddCommonOptions(command, help);
    command.callback([this, work] { m_chosen = work; });
    return command;
}

void CCommandLine::AddCommonOptions(CLI::App& command, const CCommandHelp& help) {
    if (help.json != nullptr)
        command.add_flag("--json", m_options.json, "Print JSON");
    command.add_flag("--quiet", m_options.quiet, "Print nothing but troubles");
    if (m_log == LibraryLog::Written)
        command.add_option("--log-level", m_options.logLevel, "How much goes into the log")
            ->check(CLI::IsMember({"error", "warn", "info", "debug"}));
}

int CCommandLine::Run(int count, wchar_t** values) noexcept {
    ExitCode code = ExitCode::Failed;
    try {
        SetConsole({m_app.get_name(), true});
        code = Parse(count, values);
    } catch (const CCommandError& error) {
        PrintError(error.GetText());
        code = error.GetCode();
    } catch (const CSignerError& error) {
        PrintError(error.Text());
    } catch (const std::exception& error) {
        PrintError(L"unexpected failure: " + FromUtf8(error.what()));
    }
    return static_cast<int>(code);
}

ExitCode CCommandLine::Parse(int count, wchar_t** values) {
    try {
        m_app.parse(Utf8Arguments(count, values));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != static_cast<int>(CLI::ExitCodes::Success))
            throw CCommandError(ExitCode::BadInput, FromUtf8(Explain(error)));
        m_app.exit(error); // prints help or version
        return ExitCode::Done;
    }
    SetConsole({m_app.get_name(), !m_options.quiet && !m_options.json});
    if (!m_options.logLevel.empty())
        log4cxx::Logger::getRootLogger()->setLevel(log4cxx::Level::toLevel(m_options.logLevel));
    return m_chosen(m_options);
}

/// What is wrong with the line, what may have been meant, and where to read on.
std::string CCommandLine::Explain(const CLI::ParseError& error) const {
    const auto chosen = m_app.get_subcommands();
    // Before a command there is nothing but commands; its own name may stand where a mistyped one should be followed.
    if (const auto strange = m_app.remaining(); chosen.empty() || !strange.empty()) {
        const std::string help = "'" + m_app.get_name() + " --help' lists the commands";
        if (strange.empty())
            return "no command is named; " + help;
        return "there is no command '" + strange.front() + "'; " +
               DidYouMean("", strange.front(), NamesOfCommands(m_app)).append(help);
    }
    const CLI::App& command = *chosen.front();
    const std::string help = "'" + m_app.get_name() + " " + command.get_name() + " --help' tells what it takes";
    for (const std::string& strange : command.remaining())
        if (strange.starts_with("-"))
            return "'" + command.get_name() + "' has no option '" + strange + "'; " +
                   DidYouMean("--", NameInOption(strange), NamesOfOptions(command)).append(help);
    if (!command.remaining().empty())
        return "'" + command.get_name() + "' cannot take '" + command.remaining().front() + "' as well; " + help;
    return std::string(error.what()) + "; " + help;
}

CLI::Option* AddText(CLI::App& command, const std::string& name, std::wstring& value, const std::string& description) {
    return command
        .add_option_function<std::string>(
            name, [&value](const std::string& text) { value = FromUtf8(text); }, description)
        ->check(CLI::Validator(&RefuseEmpty, ""))
        ->type_name("TEXT");
}

CLI::Option* AddTexts(CLI::App& command, const std::string& name, std::vector<std::wstring>& values,
                      const std::string& description) {
    return command
        .add_option_function<std::vector<std::string>>(
            name,
            [&values](const std::vector<std::string>& texts) {
                for (const std::string& text : texts)
                    values.push_back(FromUtf8(text));
            },
            description)
        ->check(CLI::Validator(&RefuseEmpty, ""))
        ->type_name("TEXT");
}
