#pragma once

// Text as a value: what is cut off it, and when two texts count as the same.

#include <string>
#include <string_view>

/// The text without these characters at its end.
constexpr std::wstring_view TrimEnd(std::wstring_view text, std::wstring_view characters) noexcept {
    return text.substr(0, text.find_last_not_of(characters) + 1);
}

/// The text without these characters at either end.
constexpr std::wstring_view Trim(std::wstring_view text, std::wstring_view characters) noexcept {
    text = TrimEnd(text, characters);
    return text.substr(text.empty() ? 0 : text.find_first_not_of(characters));
}

/// Without regard to case, by the C runtime's locale; up to the first zero.
bool SameText(const std::wstring& left, const std::wstring& right) noexcept;

/// Below zero, zero or above, as the system orders names of files and paths: by code unit, without regard to case.
int CompareNames(std::wstring_view left, std::wstring_view right) noexcept;

inline bool SameName(std::wstring_view left, std::wstring_view right) noexcept {
    return CompareNames(left, right) == 0;
}
