#pragma once

// Makes X.509 certificates: the development certificate, and what tests need around it.

#include "common/CryptHandles.h"
#include "crypto/SigningKey.h"

#include <string>
#include <vector>

struct CCertificateRequest {
    /// As text, "CN=Name, O=Organisation".
    std::wstring subject;
    FILETIME notBefore;
    FILETIME notAfter;
    /// Extended key usages; none leaves the extension out.
    std::vector<const char*> usages{};
    /// May issue other certificates.
    bool authority = false;
    /// Where the issuer publishes what it revoked; may be empty.
    std::string revocationListUrl{};
};

struct CCertificateIssuer {
    PCCERT_CONTEXT certificate;
    const CSigningKey& key;
};

/// A new RSA key in a container of this name, which must not exist yet. Throws CSignerError.
CUniqueProvider CreateRsaKey(const std::wstring& container, DWORD bits = 2048);
void DeleteRsaKey(const std::wstring& container) noexcept;
/// Empty when there is no such container.
CUniqueProvider OpenRsaKey(const std::wstring& container) noexcept;

/// A certificate for the key in subjectKey (AT_SIGNATURE), signed by the issuer or, without one, by itself. Throws
/// CSignerError.
CUniqueCertificate BuildCertificate(const CCertificateRequest& request, HCRYPTPROV subjectKey,
                                    const CCertificateIssuer* issuer = nullptr,
                                    const CDigestAlgorithm& digest = Sha256);

/// Tells the system in which container the certificate's key is, so that it is found again from a store.
void BindKey(PCCERT_CONTEXT certificate, const std::wstring& container);

/// The system's time plus so many hours.
FILETIME HoursFromNow(long long hours);
