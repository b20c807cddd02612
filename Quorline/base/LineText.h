#pragma once

// Text of others inside a line of ours: a window title or a path may hold line breaks, which would make lines of their
// own, or characters that turn the text after them round.
//
//     ShowControls(L"a title\r\nINFO all saved") gives "a title\u000D\u000AINFO all saved"
//
// Depends on nothing, so that whoever writes lines can use it: the log, the console.

#include <algorithm>
#include <string>
#include <string_view>

/// True for control characters (line breaks and tabs among them), line and paragraph separators, and the marks,
/// embeddings, overrides and isolates of bidirectional text.
constexpr bool IsLineControl(wchar_t c) noexcept {
    return c < 0x20 || (c >= 0x7F && c <= 0x9F) || c == 0x061C || c == 0x200E || c == 0x200F ||
           (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

inline bool HasLineControls(std::wstring_view text) noexcept {
    return std::any_of(text.begin(), text.end(), &IsLineControl);
}

/// The text with each such character as "\u" and its number in four digits. A backslash stays as it is: paths are full
/// of them, and no escape turns back into what it stands for.
inline std::wstring ShowControls(std::wstring_view text) {
    constexpr std::wstring_view Digits = L"0123456789ABCDEF";
    std::wstring shown;
    shown.reserve(text.size());
    for (const wchar_t c : text) {
        if (!IsLineControl(c)) {
            shown += c;
            continue;
        }
        shown += L"\\u";
        for (int shift = 12; shift >= 0; shift -= 4)
            shown += Digits[(c >> shift) & 0xF];
    }
    return shown;
}
