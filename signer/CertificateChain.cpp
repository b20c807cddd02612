#include "CertificateChain.h"

#include "CertificateStore.h"
#include "Digest.h"
#include "SignedData.h"
#include "SignerErrors.h"

#include <string>

namespace {

/// Milliseconds for all revocation lists of a chain together: a machine about to hibernate does not wait longer.
constexpr DWORD RevocationTimeout = 5000;

struct CTrustError {
    DWORD status;
    const wchar_t* reason;
};

/// The gravest first.
constexpr CTrustError TrustErrors[] = {
    {CERT_TRUST_IS_REVOKED, L"was revoked"},
    {CERT_TRUST_IS_EXPLICIT_DISTRUST, L"is distrusted on this machine"},
    {CERT_TRUST_IS_NOT_SIGNATURE_VALID, L"is not genuine"},
    {CERT_TRUST_IS_NOT_TIME_VALID, L"has expired or is not valid yet"},
    {CERT_TRUST_IS_NOT_VALID_FOR_USAGE, L"is not meant for this usage"},
    {CERT_TRUST_IS_PARTIAL_CHAIN, L"does not lead to a root certificate"},
    {CERT_TRUST_IS_UNTRUSTED_ROOT, L"leads to a root that this machine does not trust"},
};
constexpr DWORD Tolerated =
    CERT_TRUST_REVOCATION_STATUS_UNKNOWN | CERT_TRUST_IS_OFFLINE_REVOCATION | CERT_TRUST_IS_NOT_TIME_NESTED;

void RequireNoError(DWORD status) {
    for (const CTrustError& error : TrustErrors) {
        if ((status & error.status) != 0)
            throw CRefusal(std::wstring(L"the certificate ") + error.reason);
    }
    if ((status & ~Tolerated) != 0)
        throw CRefusal(L"the certificate's chain is faulty (trust status " + std::to_wstring(status) + L")");
}

/// The root is trusted by being there; how it was signed does not matter.
void RequireStrongSignatures(const CERT_SIMPLE_CHAIN& chain, const CSignerPolicy& policy) {
    for (DWORD i = 0; i + 1 < chain.cElement; ++i) {
        const auto fields = ParseCertificate(EncodedBytes(chain.rgpElement[i]->pCertContext));
        const CDigestAlgorithm* const digest = FindSignatureDigest(fields.signatureOid);
        if (digest == nullptr || (digest->weak && !policy.acceptSha1))
            throw CRefusal(L"the certificate or one above it is signed in a way that is no longer accepted");
    }
}

CUniqueChain BuildChain(PCCERT_CONTEXT certificate, const CChainDemand& demand, DWORD flags) {
    LPSTR usages[] = {const_cast<LPSTR>(demand.usage)};
    CERT_CHAIN_PARA parameters{};
    parameters.cbSize = sizeof parameters;
    parameters.RequestedUsage.dwType = USAGE_MATCH_TYPE_AND;
    parameters.RequestedUsage.Usage.cUsageIdentifier = 1;
    parameters.RequestedUsage.Usage.rgpszUsageIdentifier = usages;
    parameters.dwUrlRetrievalTimeout = RevocationTimeout;
    FILETIME at = demand.at;
    CUniqueChain chain;
    if (!CertGetCertificateChain(HCCE_LOCAL_MACHINE, certificate, &at, demand.intermediates, &parameters, flags,
                                 nullptr, chain.Put()) ||
        chain.Get()->cChain == 0)
        throw CRefusal(L"the certificate's chain cannot be built");
    return chain;
}

} // namespace

void RequireTrustedChain(PCCERT_CONTEXT certificate, const CChainDemand& demand) {
    if (!HasUsage(certificate, demand.usage))
        throw CRefusal(L"the certificate is not meant for this usage");

    const CUniqueChain chain = BuildChain(certificate, demand, CERT_CHAIN_CACHE_ONLY_URL_RETRIEVAL);
    const CUniqueStore disallowed = OpenSystemStore(CERT_SYSTEM_STORE_LOCAL_MACHINE, L"Disallowed");
    const CERT_SIMPLE_CHAIN& simple = *chain.Get()->rgpChain[0];
    for (DWORD i = 0; i < simple.cElement; ++i) {
        if (StoreHolds(disallowed.Get(), simple.rgpElement[i]->pCertContext))
            RequireNoError(CERT_TRUST_IS_EXPLICIT_DISTRUST);
    }
    RequireNoError(chain.Get()->TrustStatus.dwErrorStatus);
    RequireStrongSignatures(simple, demand.policy);

    // Only a chain that is trusted otherwise may send this machine to the addresses that it names.
    const CUniqueChain checked =
        BuildChain(certificate, demand,
                   CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT | CERT_CHAIN_REVOCATION_ACCUMULATIVE_TIMEOUT);
    RequireNoError(checked.Get()->TrustStatus.dwErrorStatus);
}
