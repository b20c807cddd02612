#pragma once

// The certificate that scripts are signed with, found in the system's stores or in a .pfx file.

#include "CryptHandles.h"

#include <string>
#include <utility>

/// Deletes a key container of the old RSA provider at its end; an empty name stands for none.
class CTemporaryContainer {
public:
    CTemporaryContainer() = default;
    explicit CTemporaryContainer(std::string name) noexcept : m_name(std::move(name)) {}
    CTemporaryContainer(CTemporaryContainer&& other) noexcept : m_name(std::exchange(other.m_name, {})) {}
    CTemporaryContainer& operator=(CTemporaryContainer&& other) noexcept {
        std::swap(m_name, other.m_name);
        return *this;
    }
    ~CTemporaryContainer();

private:
    std::string m_name;
};

class CSigningCertificate {
public:
    /// By thumbprint (hexadecimal, with or without blanks) or by the subject's whole or common name, whatever the case;
    /// an empty name stands for the only certificate that can sign code. The current user's store of this name (empty:
    /// "My") is searched before the machine's. Of several for the same subject the newest is taken. Throws CSignerError
    /// when there is none or the choice is open.
    static CSigningCertificate FromStore(const std::wstring& name, const std::wstring& store);

    /// The first certificate with a private key in the file. The key lives as long as this object.
    static CSigningCertificate FromPfx(const std::wstring& path, const std::wstring& password);

    /// A certificate whose key the system can find, and a store with those above it, which may be empty.
    CSigningCertificate(CUniqueStore store, CUniqueCertificate certificate, CTemporaryContainer container = {}) noexcept
        : m_container(std::move(container)), m_store(std::move(store)), m_certificate(std::move(certificate)) {}

    PCCERT_CONTEXT Get() const noexcept { return m_certificate.Get(); }
    /// Where the certificates above it may be found, besides the system's stores; may be null.
    HCERTSTORE Store() const noexcept { return m_store.Get(); }

private:
    // Declared first, so that the container goes after whatever still uses its key.
    CTemporaryContainer m_container;
    CUniqueStore m_store;
    CUniqueCertificate m_certificate;
};
