#pragma once

// The failure checks. Each writes one ERROR line to the global logger, and the Check... ones then throw. Pass
// QUORLINE_HERE as the location. Formats are the formatter's, wide or narrow; a message that cannot be formatted shows
// raw, and the check still throws its own kind.

#include "logging/CodeLocation.h"
#include "base/Exceptions.h"

#include <windows.h>

namespace logging_detail {
/// What stands around a failure's message in its line.
enum class FailureKind { Win32, HResult, Sanity };

/// Writes the line; the code of a sanity test is not looked at.
void LogFailure(FailureKind kind, const CCodeLocation& location, unsigned long code, const wchar_t* format,
                ...) noexcept;
void LogFailure(FailureKind kind, const CCodeLocation& location, unsigned long code, const char* format, ...) noexcept;
} // namespace logging_detail

/// Never throws; writes it whatever error is.
template <class Character, class... Args>
void LogWin32Error(const CCodeLocation& location, DWORD error, const Character* format, Args... args) noexcept {
    logging_detail::LogFailure(logging_detail::FailureKind::Win32, location, error, format, args...);
}

/// Does nothing when error is 0; otherwise logs the same and throws COSException(error).
template <class Character, class... Args>
void CheckWin32Error(const CCodeLocation& location, DWORD error, const Character* format, Args... args) {
    if (error == ERROR_SUCCESS)
        return;
    LogWin32Error(location, error, format, args...);
    throw COSException(error);
}

/// Call on the failure path only; returns.
template <class Character, class... Args>
void LogHResultFailure(const CCodeLocation& location, HRESULT hr, const Character* format, Args... args) noexcept {
    logging_detail::LogFailure(logging_detail::FailureKind::HResult, location, static_cast<unsigned long>(hr), format,
                               args...);
}

/// Call on the failure path only; throws COSException(hr).
template <class Character, class... Args>
[[noreturn]] void CheckHResult(const CCodeLocation& location, HRESULT hr, const Character* format, Args... args) {
    LogHResultFailure(location, hr, format, args...);
    throw COSException(static_cast<unsigned long>(hr));
}

/// Does nothing for a success; otherwise as CheckHResult.
template <class Character, class... Args>
void RequireSuccess(const CCodeLocation& location, HRESULT hr, const Character* format, Args... args) {
    if (FAILED(hr))
        CheckHResult(location, hr, format, args...);
}

/// A failed call of the C runtime; throws COSException(errnoValue).
[[noreturn]] void CheckCrtError(const CCodeLocation& location, const char* callName, int errnoValue);

/// A failed call of a system interface that is reported and survived; nothing for error 0.
void LogApiCallFailure(const CCodeLocation& location, DWORD error, const char* callName);

/// Call when the tested condition is false; throws CMorvaneException.
template <class Character, class... Args>
[[noreturn]] void SanityCheckFailed(const CCodeLocation& location, const Character* format, Args... args) {
    logging_detail::LogFailure(logging_detail::FailureKind::Sanity, location, 0, format, args...);
    throw CMorvaneException();
}
