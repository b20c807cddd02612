#pragma once

// What quorline.exe tells its caller.

#include <exception>
#include <string>
#include <utility>

enum class ExitCode : int {
    Done = 0,
    Failed = 1,        ///< something that should have worked did not
    BadInput = 2,      ///< the command line or a file given on it is wrong
    Vetoed = 3,        ///< a save script stopped the state change
    NotRegistered = 4, ///< a component is not registered on this machine
};

/// Ends a command with one line of text for the user.
class CCommandError : public std::exception {
public:
    CCommandError(ExitCode code, std::wstring text) : m_code(code), m_text(std::move(text)) {}

    ExitCode GetCode() const noexcept { return m_code; }
    const std::wstring& GetText() const noexcept { return m_text; }
    const char* what() const noexcept override { return "CCommandError"; }

private:
    ExitCode m_code;
    std::wstring m_text;
};
