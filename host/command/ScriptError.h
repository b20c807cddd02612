#pragma once

// What went wrong in a script, in words for its author.

#include "ScriptExecution/Script.h"

#include <string>

struct CScriptError {
    std::wstring script;
    std::wstring source;
    std::wstring description;
    unsigned long line = 0;      ///< counted from 1; 0 when the engine gave none
    long character = 0;          ///< counted from 0
    unsigned long number = 0;    ///< the engine's; 0 when it gave none
    unsigned long processId = 0; ///< that the script ran for; 0 when it is not known
    std::wstring sourceLine;     ///< empty when it is not known
    std::wstring reason;         ///< the signer's, for a script that was refused

    /// Takes the source line, or the signer's reason, from the script.
    void Explain(const CScript& script);

    /// "'notepad-save.vbs', line 3, character 5: Object required (Microsoft VBScript runtime error)". Where the engine
    /// says nothing in words, with all that is known otherwise.
    std::wstring Describe() const;
};

/// A line of a text by its number, counted from 1, without its break.
std::wstring LineOf(const std::wstring& text, unsigned long line);

/// "Division by zero (error 11)", "error 0x80004005"
std::wstring DescribeScriptNumber(unsigned long number);
