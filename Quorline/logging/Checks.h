#pragma once

// The failure checks. Each writes one ERROR line to the global logger, and the Check... ones then throw. Pass
// QUORLINE_HERE as the location. A message that cannot be formatted shows raw; the check still throws its own kind.

#include "logging/CodeLocation.h"
#include "base/Exceptions.h"

#include <windows.h>

/// Does nothing when error is 0; otherwise logs and throws COSException(error).
void CheckWin32Error(const CCodeLocation& location, DWORD error, const wchar_t* format, ...);
void CheckWin32Error(const CCodeLocation& location, DWORD error, const char* format, ...);

/// The same text, never throws; writes it whatever error is.
void LogWin32Error(const CCodeLocation& location, DWORD error, const wchar_t* format, ...);
void LogWin32Error(const CCodeLocation& location, DWORD error, const char* format, ...);

/// Call on the failure path only; throws COSException(hr).
[[noreturn]] void CheckHResult(const CCodeLocation& location, HRESULT hr, const wchar_t* format, ...);
[[noreturn]] void CheckHResult(const CCodeLocation& location, HRESULT hr, const char* format, ...);

/// Call on the failure path only; returns.
void LogHResultFailure(const CCodeLocation& location, HRESULT hr, const wchar_t* format, ...);
void LogHResultFailure(const CCodeLocation& location, HRESULT hr, const char* format, ...);

/// A failed call of the C runtime; throws COSException(errnoValue).
[[noreturn]] void CheckCrtError(const CCodeLocation& location, const char* callName, int errnoValue);

/// A failed call of a system interface that is reported and survived; nothing for error 0.
void LogApiCallFailure(const CCodeLocation& location, DWORD error, const char* callName);

/// Call when the tested condition is false; throws CMorvaneException.
[[noreturn]] void SanityCheckFailed(const CCodeLocation& location, const wchar_t* format, ...);
[[noreturn]] void SanityCheckFailed(const CCodeLocation& location, const char* format, ...);
