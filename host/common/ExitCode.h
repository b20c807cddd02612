#pragma once

// What quorline.exe tells its caller. The table is the one place: --help prints it, and the command's guide repeats
// it.

#include <exception>
#include <string>
#include <utility>

enum class ExitCode : int {
    Done = 0,
    Failed = 1,
    BadInput = 2,
    Vetoed = 3,
    NotRegistered = 4,
    Unwritten = 5,
};

struct CExitCodeMeaning {
    ExitCode code;
    const wchar_t* meaning;
};

inline constexpr CExitCodeMeaning ExitCodeMeanings[] = {
    {ExitCode::Done, L"done"},
    {ExitCode::Failed, L"something that should have worked did not; the output says what"},
    {ExitCode::BadInput, L"the command line or a file named on it is wrong; nothing was done"},
    {ExitCode::Vetoed,
     L"the state change is vetoed: a save script failed or vetoed it, or the save did not come to its end"},
    {ExitCode::NotRegistered, L"a component is not registered on this machine; nothing was done"},
    {ExitCode::Unwritten,
     L"saved, and the machine may go, but a save script never wrote a document that it had asked for"},
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
