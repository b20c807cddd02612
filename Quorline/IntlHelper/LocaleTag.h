#pragma once

// A culture that can be made the locale of the process or of a thread.

#include <string>

class CLocaleTag {
public:
    virtual ~CLocaleTag() = default;

    /// The name under which the runtime library's _wsetlocale knows the culture.
    virtual const std::wstring& GetLocaleName() const = 0;

    /// Makes the culture the calling thread's; a failure is only logged.
    virtual void UpdateThreadLocale() const = 0;
};
