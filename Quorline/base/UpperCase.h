#pragma once

#include <algorithm>
#include <cwctype>
#include <string>

/// Patterns and what they are matched against go through this one conversion, by the C runtime's locale.
inline std::wstring ToUpperCase(std::wstring text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](wchar_t c) { return static_cast<wchar_t>(std::towupper(c)); });
    return text;
}
