#pragma once

// What the system says of a failure.

#include <string>

/// "Access denied (error 5)", or the code alone where the system has no text. The code is that of an exception of the
/// library's: a Win32 error, an HRESULT, or an error number of the C runtime.
std::wstring DescribeCode(unsigned long code);
