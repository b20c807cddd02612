#pragma once

// The certificate that scripts are signed with, found in the system's stores or in a .pfx file.

#include "common/CryptHandles.h"

#include <string>
#include <utility>

class CSigningCertificate {
public:
    /// By thumbprint (hexadecimal, with or without blanks) or by the subject's whole or common name, whatever the case;
    /// an empty name stands for the only certificate that can sign code. The current user's store of this name (empty:
    /// "My") is searched before the machine's. Of several for the same subject the newest is taken. Throws CSignerError
    /// when there is none or the choice is open.
    static CSigningCertificate FromStore(const std::wstring& name, const std::wstring& store);

    /// The certificate for code signing in the file whose private key is there too; the newest of several. The key
    /// lives as long as this object and only in memory. For an instant this process sees an empty registry in place of
    /// the user's, so no other of its threads should need that one just then. Throws CSignerError.
    static CSigningCertificate FromPfx(const std::wstring& path, const std::wstring& password);

    /// A certificate whose key the system can find, and a store with those above it, which may be empty.
    CSigningCertificate(CUniqueStore store, CUniqueCertificate certificate, CUniqueProvider key = {}) noexcept
        : m_key(std::move(key)), m_store(std::move(store)), m_certificate(std::move(certificate)) {}

    PCCERT_CONTEXT Get() const noexcept { return m_certificate.Get(); }
    /// Where the certificates above it may be found, besides the system's stores; may be null.
    HCERTSTORE Store() const noexcept { return m_store.Get(); }

private:
    // Declared first, so that the key goes after whatever still uses it.
    CUniqueProvider m_key;
    CUniqueStore m_store;
    CUniqueCertificate m_certificate;
};
