#include "ScriptError.h"

#include "ScriptVerifier.h"
#include "common/SignerErrors.h"
#include "SystemText.h"

#include <windows.h>

#include <cerrno>
#include <sstream>

namespace {
struct CScriptNumber {
    unsigned long number;
    const wchar_t* text;
};

/// Errors of the languages themselves that engines leave without words now and then.
constexpr CScriptNumber Numbers[] = {{5, L"Invalid procedure call or argument"},
                                     {6, L"Overflow"},
                                     {7, L"Out of memory"},
                                     {9, L"Subscript out of range"},
                                     {11, L"Division by zero"},
                                     {13, L"Type mismatch"},
                                     {28, L"Out of stack space"},
                                     {91, L"Object variable not set"},
                                     {424, L"Object required"},
                                     {429, L"The object cannot be created"},
                                     {438, L"The object has no such property or method"},
                                     {500, L"Variable is undefined"}};

/// Where the languages number their errors.
constexpr unsigned long LanguageErrors = 0x800A0000;

/// The number that a script knows for an error: a dispatch's own ones have one of the languages', too.
unsigned long ToLanguageError(unsigned long number) {
    switch (static_cast<HRESULT>(number)) {
    case DISP_E_OVERFLOW:
        return LanguageErrors + 6;
    case DISP_E_BADINDEX:
        return LanguageErrors + 9;
    case DISP_E_DIVBYZERO:
        return LanguageErrors + 11;
    case DISP_E_TYPEMISMATCH:
        return LanguageErrors + 13;
    default:
        return number;
    }
}

std::wstring ReasonOf(const CScript& script) {
    try {
        const ScriptKind kind =
            script.GetScriptLang() == CScript::LangVBScript ? ScriptKind::VBScript : ScriptKind::JScript;
        const CVerification verification = CScriptVerifier().VerifyText(kind, script.GetText());
        if (verification.accepted)
            return L"the signer of this machine gives no reason";
        return verification.subject.empty() ? verification.reason
                                            : verification.reason + L" (certificate: " + verification.subject + L")";
    } catch (const CSignerError& error) {
        return error.Text();
    }
}
} // namespace

std::wstring LineOf(const std::wstring& text, unsigned long line) {
    std::wistringstream lines(text);
    std::wstring found;
    for (unsigned long i = 0; i < line; ++i)
        if (!std::getline(lines, found))
            return {};
    while (!found.empty() && found.back() == L'\r')
        found.pop_back();
    return found;
}

std::wstring DescribeScriptNumber(unsigned long number) {
    number = ToLanguageError(number);
    if ((number & 0xFFFF0000) == LanguageErrors)
        for (const auto& [known, text] : Numbers)
            if (known == (number & 0xFFFF))
                return std::wstring(text) + L" (error " + std::to_wstring(known) + L")";
    // The C runtime's word for a full disk, which Windows reads as one about a printer.
    if (number == static_cast<unsigned long>(HRESULT_FROM_WIN32(ENOSPC)))
        return DescribeCode(ENOSPC);
    return DescribeCode(number);
}

void CScriptError::Explain(const CScript& explained) {
    if (line != 0)
        sourceLine = LineOf(explained.GetText(), line);
    else if (source == L"Script Verification")
        reason = ReasonOf(explained);
}

std::wstring CScriptError::Describe() const {
    std::wstring text = L"'" + script + L"'";
    if (line != 0)
        text += L", line " + std::to_wstring(line) + L", character " + std::to_wstring(character + 1);
    if (number == static_cast<unsigned long>(HRESULT_FROM_WIN32(ENOSPC)))
        text += L": " + DescribeScriptNumber(number);
    else
        text += L": " + (description.empty() ? L"the engine gave no description" : description);
    if (!source.empty())
        text += L" (" + source + L")";
    if (!reason.empty())
        text += L": " + reason;
    if (!description.empty())
        return text;
    if (number != 0)
        text += L"; " + DescribeScriptNumber(number);
    if (processId != 0)
        text += L"; process " + std::to_wstring(processId);
    if (!sourceLine.empty())
        text += L"; the line is: " + sourceLine;
    return text;
}
