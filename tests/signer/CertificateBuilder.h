#pragma once

// Makes authorities and whatever certificates tests need under them.

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

/// A certificate for the key in subjectKey (AT_SIGNATURE), signed by the issuer or, without one, by itself. Throws
/// CSignerError.
CUniqueCertificate BuildCertificate(const CCertificateRequest& request, HCRYPTPROV subjectKey,
                                    const CCertificateIssuer* issuer = nullptr,
                                    const CDigestAlgorithm& digest = Sha256);

/// The system's time plus so many hours.
FILETIME HoursFromNow(long long hours);
