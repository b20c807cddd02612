#pragma once

// A program's command line: its commands, what each of them takes, and what they are told when they are asked for help.
//
//     CCommandLine line("quorline", "Saves the open documents ...");
//     AddSave(line); // a function per command, beside the command's work
//     return line.Run(count, values);

#include "ExitCode.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <string>
#include <vector>

/// What --help says of a command beside its options.
struct CCommandHelp {
    const char* name;
    const char* purpose;
    /// Whole command lines without the program's name.
    std::vector<const char*> examples;
    /// What it may end with, beside ExitCode::BadInput.
    std::vector<ExitCode> codes;
    /// The shape of what --json prints, in a line; null for a command that has no data.
    const char* json = nullptr;
};

/// What a command is told by the options that every command has.
struct CCommonOptions {
    bool json = false;
    bool quiet = false;   ///< PrintLine prints nothing then
    std::string logLevel; ///< "error", "warn", "info" or "debug"; empty when the log's own settings hold
};

/// Whether the program writes into the library's log.
enum class LibraryLog { None, Written };

class CCommandLine {
public:
    using Work = std::function<ExitCode(const CCommonOptions&)>;

    CCommandLine(const char* program, const char* purpose, LibraryLog log);
    CCommandLine(const CCommandLine&) = delete;
    CCommandLine& operator=(const CCommandLine&) = delete;

    /// A command whose work is done once the whole line has been understood; the caller adds its options.
    CLI::App& Add(const CCommandHelp& help, const Work& work);

    /// Understands the line and does the command's work. Returns what the program exits with; whatever ends the command
    /// is told on standard error, in a line.
    int Run(int count, wchar_t** values) noexcept;

private:
    ExitCode Parse(int count, wchar_t** values);
    std::string Explain(const CLI::ParseError& error) const;
    void AddCommonOptions(CLI::App& command, const CCommandHelp& help);

    CLI::App m_app;
    LibraryLog m_log;
    CCommonOptions m_options;
    Work m_chosen;
};

/// An option, or for a name without hyphens an argument, whose value is a text; it must not be empty.
CLI::Option* AddText(CLI::App& command, const std::string& name, std::wstring& value, const std::string& description);
/// The same for any number of texts.
CLI::Option* AddTexts(CLI::App& command, const std::string& name, std::vector<std::wstring>& values,
                      const std::string& description);
