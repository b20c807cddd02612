#pragma once

// Text as a value: what is cut off it, and when two texts count as the same.

#include <algorithm>
#include <string>
#include <string_view>

/// The text without these characters at its end. Compared here one by one: the text's own searches call the runtime for
/// each of its characters, which for a few blanks costs more than all the rest.
constexpr std::wstring_view TrimEnd(std::wstring_view text, std::wstring_view characters) noexcept {
    while (!text.empty() && std::ranges::find(characters, text.back()) != characters.end())
        text.remove_suffix(1);
    return text;
}

constexpr std::wstring_view TrimStart(std::wstring_view text, std::wstring_view characters) noexcept {
    while (!text.empty() && std::ranges::find(characters, text.front()) != characters.end())
        text.remove_prefix(1);
    return text;
}

/// The text without these characters at either end.
constexpr std::wstring_view Trim(std::wstring_view text, std::wstring_view characters) noexcept {
    return TrimStart(TrimEnd(text, characters), characters);
}

/// Without regard to case, by the C runtime's locale; up to the first zero.
bool SameText(const std::wstring& left, const std::wstring& right) noexcept;

/// Below zero, zero or above, as the system orders names of files and paths: by code unit, without regard to case.
int CompareNames(std::wstring_view left, std::wstring_view right) noexcept;

inline bool SameName(std::wstring_view left, std::wstring_view right) noexcept {
    return CompareNames(left, right) == 0;
}
