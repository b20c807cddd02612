#include "certificates/CertificateChain.h"

#include "asn1/CertificateFields.h"
#include "certificates/CertificateStore.h"
#include "certificates/MachineStores.h"
#include "certificates/RevocationLookup.h"
#include "common/SignerErrors.h"
#include "crypto/Digest.h"
#include "crypto/PublicKey.h"

#include <string>

namespace {

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

void RequireStrong(PCCERT_CONTEXT certificate, const CSignerPolicy& policy) {
    const auto fields = ParseCertificate(EncodedBytes(certificate));
    const CDigestAlgorithm* const digest = FindSignatureDigest(fields.signatureOid);
    if (digest == nullptr || (digest->weak && !policy.acceptSha1))
        throw CRefusal(L"the certificate is signed in a way that is no longer accepted");
    const CPublicKey key(certificate);
}

void RequireStrongAuthority(PCCERT_CONTEXT authority, const CChainDemand& demand) {
    try {
        RequireStrong(authority, demand.policy);
        if (!AllowsUsage(authority, demand.usage))
            throw CRefusal(L"the certificate is not meant for this usage");
    } catch (const CRefusal& refusal) {
        throw CRefusal(L"an authority above the certificate, '" + SubjectOf(authority) + L"', is not accepted: " +
                       refusal.Reason());
    }
}

/// What holds for a certificate holds for the authorities above it. The root is trusted by being there; what it is like
/// does not matter.
void RequireStrongChain(const CERT_SIMPLE_CHAIN& chain, const CChainDemand& demand) {
    for (DWORD i = 0; i + 1 < chain.cElement; ++i) {
        const PCCERT_CONTEXT certificate = chain.rgpElement[i]->pCertContext;
        if (i == 0)
            RequireStrong(certificate, demand.policy);
        else
            RequireStrongAuthority(certificate, demand);
    }
}

/// Where an authority says that it tells of what it revoked.
bool NamesRevocations(PCCERT_CONTEXT certificate) {
    for (const char* const extension : {szOID_CRL_DIST_POINTS, szOID_FRESHEST_CRL, szOID_AUTHORITY_INFO_ACCESS}) {
        if (CertFindExtension(extension, certificate->pCertInfo->cExtension, certificate->pCertInfo->rgExtension) !=
            nullptr)
            return true;
    }
    return false;
}

bool HoldsList(HCERTSTORE store) {
    if (store == nullptr)
        return false;
    const PCCRL_CONTEXT list = CertEnumCRLsInStore(store, nullptr);
    if (list != nullptr)
        CertFreeCRLContext(list);
    return list != nullptr;
}

/// Whether there is anything to learn from: a place that a certificate below the root names, or a list that this
/// machine has been given already. Asking without either is as dear as building the chain.
bool HasRevocations(const CERT_SIMPLE_CHAIN& chain, const CChainDemand& demand, HCERTSTORE authorities) {
    for (DWORD i = 0; i + 1 < chain.cElement; ++i) {
        if (NamesRevocations(chain.rgpElement[i]->pCertContext))
            return true;
    }
    return HoldsList(demand.intermediates) || HoldsList(authorities);
}
} // namespace

void RequireTrustedChain(PCCERT_CONTEXT certificate, const CChainDemand& demand) {
    if (!HasUsage(certificate, demand.usage))
        throw CRefusal(L"the certificate is not meant for this usage");

    const CUniqueChain chain = BuildChain(certificate, demand, CERT_CHAIN_CACHE_ONLY_URL_RETRIEVAL);
    const auto [disallowed, authorities] = CMachineStores::Instance().Open(L"Disallowed", L"CA");
    const CERT_SIMPLE_CHAIN& simple = *chain.Get()->rgpChain[0];
    for (DWORD i = 0; i < simple.cElement; ++i) {
        if (StoreHolds(disallowed.Get(), simple.rgpElement[i]->pCertContext))
            RequireNoError(CERT_TRUST_IS_EXPLICIT_DISTRUST);
    }
    RequireNoError(chain.Get()->TrustStatus.dwErrorStatus);
    RequireStrongChain(simple, demand);

    if (!HasRevocations(simple, demand, authorities.Get()))
        return;
    // Only a chain that is trusted otherwise may send this machine to the addresses that it names.
    if (const std::optional<DWORD> errors = AskRevocationLists(certificate, demand))
        RequireNoError(*errors);
}
