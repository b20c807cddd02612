#pragma once

// The two ways in which signing and verifying end early. A refusal is an answer: the signature does not hold. An error
// is none: the question could not be asked or the script could not be signed.

#include <windows.h>

#include <exception>
#include <string>
#include <utility>

/// Why a signature is not accepted. Caught by CScriptVerifier, which logs the reason.
class CRefusal : public std::exception {
public:
    explicit CRefusal(std::wstring reason) : m_reason(std::move(reason)) {}
    const std::wstring& Reason() const noexcept { return m_reason; }
    const char* what() const noexcept override { return "the signature is not accepted"; }

private:
    std::wstring m_reason;
};

/// A failure with a text for the user and an HRESULT for COM callers.
class CSignerError : public std::exception {
public:
    CSignerError(HRESULT result, const std::wstring& text);
    HRESULT Result() const noexcept { return m_result; }
    const std::wstring& Text() const noexcept { return m_text; }
    /// The text as UTF-8.
    const char* what() const noexcept override { return m_narrow.c_str(); }

private:
    HRESULT m_result;
    std::wstring m_text;
    std::string m_narrow;
};

/// Throws CSignerError with the calling thread's last error; the system's text for it follows the given one.
[[noreturn]] void ThrowLastError(const std::wstring& what);

/// The same for a code that a call returned (Win32 error, HRESULT or NTSTATUS given as HRESULT).
[[noreturn]] void ThrowSystemError(const std::wstring& what, HRESULT result);
