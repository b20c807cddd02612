#pragma once

// What the system's own calls make of a signed script: its signature is taken apart and checked, its text digested, and
// the chain of its certificate built as the machine sees it.

#include "base/UniqueHandle.h"

#include <windows.h>
#include <wincrypt.h>

#include <string>
#include <string_view>
#include <vector>

class CBareVerify {
public:
    /// The text as it was signed, and the signature that its block holds.
    CBareVerify(std::wstring text, std::vector<BYTE> signature)
        : m_text(std::move(text)), m_signature(std::move(signature)) {}

    bool Run() const {
        const HCRYPTMSG message =
            CryptMsgOpenToDecode(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0, 0, 0, nullptr, nullptr);
        CryptMsgUpdate(message, m_signature.data(), static_cast<DWORD>(m_signature.size()), TRUE);
        const HCERTSTORE store = CertOpenStore(CERT_STORE_PROV_MSG, X509_ASN_ENCODING, 0, 0, message);
        const PCCERT_CONTEXT signer = FindSigner(message, store);
        const bool good =
            signer != nullptr && IsContentSigned(message, signer) && IsDigestible() && IsTrusted(signer, store);
        CertFreeCertificateContext(signer);
        CertCloseStore(store, 0);
        CryptMsgClose(message);
        return good;
    }

private:
    static PCCERT_CONTEXT FindSigner(HCRYPTMSG message, HCERTSTORE store) {
        DWORD size = 0;
        CryptMsgGetParam(message, CMSG_SIGNER_CERT_INFO_PARAM, 0, nullptr, &size);
        std::vector<BYTE> info(size);
        if (!CryptMsgGetParam(message, CMSG_SIGNER_CERT_INFO_PARAM, 0, info.data(), &size))
            return nullptr;
        return CertGetSubjectCertificateFromStore(store, X509_ASN_ENCODING, reinterpret_cast<CERT_INFO*>(info.data()));
    }

    static bool IsContentSigned(HCRYPTMSG message, PCCERT_CONTEXT signer) {
        return CryptMsgControl(message, 0, CMSG_CTRL_VERIFY_SIGNATURE, signer->pCertInfo) != FALSE;
    }

    bool IsDigestible() const {
        BYTE digest[32];
        DWORD size = sizeof digest;
        return CryptHashCertificate2(L"SHA256", 0, nullptr, reinterpret_cast<const BYTE*>(m_text.data()),
                                     static_cast<DWORD>(m_text.size() * sizeof(wchar_t)), digest, &size) != FALSE;
    }

    static bool IsTrusted(PCCERT_CONTEXT signer, HCERTSTORE store) {
        char usage[] = szOID_PKIX_KP_CODE_SIGNING;
        LPSTR usages[] = {usage};
        CERT_CHAIN_PARA parameters{};
        parameters.cbSize = sizeof parameters;
        parameters.RequestedUsage.Usage.cUsageIdentifier = 1;
        parameters.RequestedUsage.Usage.rgpszUsageIdentifier = usages;
        PCCERT_CHAIN_CONTEXT chain = nullptr;
        const bool built = CertGetCertificateChain(HCCE_LOCAL_MACHINE, signer, nullptr, store, &parameters,
                                                   CERT_CHAIN_CACHE_ONLY_URL_RETRIEVAL, nullptr, &chain) != FALSE;
        const bool trusted = built && chain->TrustStatus.dwErrorStatus == CERT_TRUST_NO_ERROR;
        CertFreeCertificateChain(chain);
        return trusted;
    }

    std::wstring m_text;
    std::vector<BYTE> m_signature;
};
