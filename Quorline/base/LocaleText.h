#pragma once

// Narrow text widened, and wide text narrowed, through the C runtime's current locale; what has no counterpart becomes
// '?'.

#include <string>
#include <string_view>

std::wstring WidenText(std::string_view text);
std::string NarrowText(std::wstring_view text);
