#pragma once

// Identifiers: made by the system, printed as 36 lower-case characters without braces, parsed from the same form.

#include "base/Export.h"

#include <windows.h>

#include <string>

/// A GUID that knows whether it holds one.
class QUORLINE_API CGuid {
public:
    /// A fresh identifier; throws COSException with "Could not generate guid" logged.
    CGuid();
    explicit CGuid(const GUID& guid) noexcept : m_guid(guid), m_valid(true) {}

    /// Parses the 36-character form; throws COSException with "Could not init guid from string" logged.
    explicit CGuid(const std::wstring& text);

    const GUID& GetGuid() const noexcept { return m_guid; }
    void SetGuid(const GUID& guid) noexcept {
        m_guid = guid;
        m_valid = true;
    }
    bool IsValid() const noexcept { return m_valid; }
    void SetValid(bool valid) noexcept { m_valid = valid; }

    /// The 36-character form; throws COSException with "Failed to convert guid to string" logged, also when not valid.
    std::wstring ToString() const;

private:
    GUID m_guid{};
    bool m_valid = false;
};

/// A fresh identifier from UuidCreate. A locally unique one is accepted; a negative status throws COSException with
/// "Failed to generate guid" logged.
GUID CreateGUID();
