#pragma once

// Paths as text.

#include <windows.h>

#include <string>

/// Joins two parts with exactly one backslash at the seam; an empty first part yields the second unchanged.
std::wstring JoinPath(const std::wstring& first, const std::wstring& second);

/// The full path, without asking any disk: the form in which two spellings of one file name meet, with "..", forward
/// slashes, trailing dots and blanks and the names of devices resolved. A path that has none stays as it is.
std::wstring FullPath(const std::wstring& path);

/// The full path in its short form, by which two paths to one file compare equal without regard to case. Exists only
/// for files that exist. Returns ERROR_SUCCESS, or the last error of the call that failed (ERROR_INVALID_NAME for an
/// empty path; paths over 259 characters fail too) and leaves the result untouched.
DWORD GetCanonicalPath(const std::wstring& path, std::wstring& canonical);
