#pragma once

// Reads values of one key of the machine's registry. A value that is missing, too long or of another type leaves the
// caller's default as it is.

#include "base/UniqueHandle.h"

#include <windows.h>

#include <string>

class CRegistryReader {
public:
    /// `path` is below HKEY_LOCAL_MACHINE. A key that cannot be opened has no values.
    explicit CRegistryReader(const std::wstring& path);

    explicit operator bool() const noexcept { return static_cast<bool>(m_key); }

    /// Strings of at most 261 characters. True when there was one.
    bool ReadString(const wchar_t* name, std::wstring& value) const;
    bool ReadDword(const std::wstring& name, unsigned long& value) const;

private:
    CUniqueRegKey m_key;
};
