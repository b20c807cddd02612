#pragma once

// One insert of a message: what its specification reads from the argument list, and how the argument is printed.

#include <cstdarg>
#include <string>

/// Prints the next argument of `args` by `specification`, at most 4095 characters. `number` is the insert's, for
/// messages. Throws CIntlHelperException when the specification is none, or its string argument cannot be read.
std::wstring FormatInsert(const std::wstring& specification, int number, va_list& args);
