#include "ScriptError.h"

std::wstring CScriptError::Describe() const {
    std::wstring text = L"'" + script + L"'";
    if (line != 0)
        text += L", line " + std::to_wstring(line) + L", character " + std::to_wstring(character + 1);
    text += L": " + (description.empty() ? L"the engine gave no description" : description);
    if (!source.empty())
        text += L" (" + source + L")";
    return text;
}
