#pragma once

// The certificates that travel in a signature, as a store from which chains can be built.

#include "asn1/CertificateFields.h"
#include "common/CryptHandles.h"

#include <vector>

class CCertificateBag {
public:
    /// Throws CRefusal for what is no certificate or was altered where its own signature does not reach.
    explicit CCertificateBag(const std::vector<CBytesView>& certificates);

    /// The signer's certificate, owned by the bag; throws CRefusal when it is not here.
    PCCERT_CONTEXT FindSigner(CBytesView issuer, CBytesView serial) const;
    HCERTSTORE Store() const noexcept { return m_store.Get(); }

    /// Every certificate must carry a genuine signature of its issuer, needed or not: then nothing in a signature block
    /// can be changed unnoticed. The one whose chain has been checked already is left out. Throws CRefusal.
    void RequireGenuine(PCCERT_CONTEXT checked) const;

private:
    struct CEntry {
        CUniqueCertificate certificate;
        CCertificateFields fields;
    };
    CUniqueStore m_store;
    std::vector<CEntry> m_entries;
};
