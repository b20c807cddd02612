#pragma once

// What went wrong in a script, in words for its author.

#include <string>

struct CScriptError {
    std::wstring script;
    std::wstring source;
    std::wstring description;
    unsigned long line = 0; ///< counted from 1; 0 when the engine gave none
    long character = 0;     ///< counted from 0

    /// "'notepad-save.vbs', line 3, character 5: Object required (Microsoft VBScript runtime error)"
    std::wstring Describe() const;
};
