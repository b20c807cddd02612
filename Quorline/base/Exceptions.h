#pragma once

// The library's exceptions. The failure text is logged before the throw; an exception carries only what a caller can
// act on. Catch CMorvaneException to catch all of them.

#include "base/Export.h"

#include <exception>
#include <string>
#include <utility>

/// A positive code (a Win32 error) becomes 0x80070000 with the code's low 16 bits; any other code stays as it is.
constexpr long HResultFromCode(long code) noexcept {
    return code > 0 ? static_cast<long>(0x80070000UL | (static_cast<unsigned long>(code) & 0xFFFFUL)) : code;
}

/// Root of the hierarchy; thrown as such when a sanity check fails.
class QUORLINE_API CMorvaneException : public std::exception {
public:
    const char* what() const noexcept override { return "CMorvaneException"; }
};

/// A failed call of the system or of the runtime library.
class QUORLINE_API COSException : public CMorvaneException {
public:
    explicit COSException(unsigned long code) noexcept : m_code(code) {}
    const char* what() const noexcept override { return "COSException"; }

    /// A Win32 error, an HRESULT or an errno value, whichever the failed check was given.
    unsigned long GetErrorCode() const noexcept { return m_code; }

    /// The code as an HRESULT, as HResultFromCode makes it.
    long GetHResult() const noexcept { return HResultFromCode(static_cast<long>(m_code)); }

private:
    unsigned long m_code;
};

/// Text of an info file that could not be parsed.
class QUORLINE_API CXmlParseException : public CMorvaneException {
public:
    explicit CXmlParseException(std::wstring text) : m_text(std::move(text)) {}
    const char* what() const noexcept override { return "CXmlParseException"; }

    /// What could not be parsed, or the parser's own message.
    const std::wstring& GetText() const noexcept { return m_text; }

private:
    std::wstring m_text;
};

/// A bad message format, or a failure of the culture helpers.
class QUORLINE_API CIntlHelperException : public CMorvaneException {
public:
    CIntlHelperException(std::wstring message, long code) : m_message(std::move(message)), m_code(code) {}
    const char* what() const noexcept override { return "CIntlHelperException"; }

    const std::wstring& GetMessageText() const noexcept { return m_message; }

    /// 8 for a bad format, 11 for an unreadable string argument, 2 for a system failure.
    long GetErrorCode() const noexcept { return m_code; }

private:
    std::wstring m_message;
    long m_code;
};
