#include "certificates/CertificateBag.h"

#include "asn1/CertificateSyntax.h"
#include "certificates/CertificateStore.h"
#include "common/SignerErrors.h"

namespace {

/// Real chains are three or four long, one for the signer and one for the time stamp.
constexpr std::size_t MostCertificates = 32;

/// Bytes of an encoded public key. RSA with 16384 bits fits; what is longer would only keep this machine busy.
constexpr DWORD LongestKey = 2200;

} // namespace

CCertificateBag::CCertificateBag(const std::vector<CBytesView>& certificates)
    : m_store(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr)) {
    if (!m_store)
        ThrowLastError(L"cannot make a certificate store");
    if (certificates.size() > MostCertificates)
        throw CRefusal(L"there are too many certificates in the signature block");
    for (const CBytesView bytes : certificates) {
        RequireWellFormedCertificate(bytes);
        CEntry entry{CUniqueCertificate(CertCreateCertificateContext(X509_ASN_ENCODING, bytes.data(),
                                                                     static_cast<DWORD>(bytes.size()))),
                     ParseCertificate(bytes)};
        if (!entry.certificate ||
            !CertAddCertificateContextToStore(m_store.Get(), entry.certificate.Get(), CERT_STORE_ADD_ALWAYS, nullptr))
            throw CRefusal(L"a certificate in the signature block cannot be read");
        if (entry.certificate.Get()->pCertInfo->SubjectPublicKeyInfo.PublicKey.cbData > LongestKey)
            throw CRefusal(L"a key in the signature block is too long");
        m_entries.push_back(std::move(entry));
    }
}

PCCERT_CONTEXT CCertificateBag::FindSigner(CBytesView issuer, CBytesView serial) const {
    for (const CEntry& entry : m_entries) {
        if (SameBytes(entry.fields.serial, serial) && SameBytes(entry.fields.issuer, issuer))
            return entry.certificate.Get();
    }
    throw CRefusal(L"the signer's certificate is missing");
}

void CCertificateBag::RequireGenuine(PCCERT_CONTEXT checked) const {
    for (const CEntry& entry : m_entries) {
        if (entry.certificate.Get() == checked)
            continue;
        CERT_CHAIN_PARA parameters{};
        parameters.cbSize = sizeof parameters;
        CUniqueChain chain;
        if (!CertGetCertificateChain(HCCE_LOCAL_MACHINE, entry.certificate.Get(), nullptr, m_store.Get(), &parameters,
                                     CERT_CHAIN_CACHE_ONLY_URL_RETRIEVAL, nullptr, chain.Put()) ||
            chain.Get()->cChain == 0)
            throw CRefusal(L"a certificate in the signature block cannot be checked");
        const CERT_SIMPLE_CHAIN& simple = *chain.Get()->rgpChain[0];
        const bool hasIssuer = simple.cElement > 1 || IsSelfIssued(entry.certificate.Get());
        if (!hasIssuer || (simple.rgpElement[0]->TrustStatus.dwErrorStatus & CERT_TRUST_IS_NOT_SIGNATURE_VALID) != 0)
            throw CRefusal(L"a certificate in the signature block is not genuine: '" +
                           SubjectOf(entry.certificate.Get()) + L"'");
    }
}
