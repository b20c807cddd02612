#pragma once

// Looks at strings that may not be there: a message insert may be given any pointer, and a bad one must cost a message,
// not the process. Any thread.

#include <cstddef>

/// Characters before the terminator, at most `limit`; no character behind those is touched. -1 when reading them is an
/// access violation.
std::ptrdiff_t GuardedLength(const wchar_t* text, std::size_t limit) noexcept;
std::ptrdiff_t GuardedLength(const char* text, std::size_t limit) noexcept;
