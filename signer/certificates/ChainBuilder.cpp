#include "certificates/ChainBuilder.h"

#include "common/SignerErrors.h"

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
