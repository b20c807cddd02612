#pragma once

// This program once more, as a process of its own.

#include <windows.h>

#include <string>

/// The full path of the running program.
std::wstring OwnProgram();

/// As CreateProcessW, without a window where this process has no console; tried again while the machine refuses for the
/// moment. `flags` are beside that.
bool StartPatiently(const std::wstring& program, const std::wstring& commandLine, bool inheritHandles, DWORD flags,
                    STARTUPINFOW& startup, PROCESS_INFORMATION& started);

/// Runs the running program with these arguments, without input, output and window, and returns what it exits with.
/// Throws CCommandError when it does not start or does not end within half a minute; it is ended then.
unsigned long RunOwnProgram(const std::wstring& arguments);

/// An argument that may hold blanks, as it stands on a command line. It must not hold a quotation mark.
std::wstring QuoteArgument(const std::wstring& argument);
