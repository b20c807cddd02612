#pragma once

// The short way to a message's text, for the formats that nearly all messages have: inserts that are plain directives,
// each number once and none left out, and a text that is not long. It makes exactly what the formatter's three steps
// make, without their containers.

#include <cstdarg>
#include <optional>
#include <string>
#include <string_view>

/// Nothing when the format or an argument is out of the ordinary, or wrong: then the steps have to say what becomes of
/// it.
std::optional<std::wstring> PrintPlainMessage(std::wstring_view format, va_list args);
