#pragma once

// UTF-8 in both directions, through the system's own conversion. Where the system has no memory for it the functions
// throw std::bad_alloc; they never answer with less than the whole text.

#include <optional>
#include <string>
#include <string_view>

/// Half a surrogate pair becomes U+FFFD. Text of any length.
std::string ToUtf8(std::wstring_view text);

/// What is no UTF-8 becomes U+FFFD. Bytes of at most 2 GB.
std::wstring FromUtf8(std::string_view bytes);

enum class BadUtf8 { Replace, Refuse };

/// The same for a caller who wants to know. Nothing, with the thread's last error set, when the bytes are refused or
/// cannot be converted.
std::optional<std::wstring> DecodeUtf8(std::string_view bytes, BadUtf8 bad);
