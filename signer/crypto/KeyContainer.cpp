#include "crypto/KeyContainer.h"

#include "common/SignerErrors.h"

namespace {

/// RSA and AES, and with them SHA-256: the plain RSA provider stops at SHA-1.
constexpr DWORD ProviderType = PROV_RSA_AES;

} // namespace

CUniqueProvider CreateRsaKey(const std::wstring& container, DWORD bits) {
    CUniqueProvider provider;
    CUniqueCryptKey key;
    if (!CryptAcquireContextW(provider.Put(), container.c_str(), nullptr, ProviderType,
                              CRYPT_NEWKEYSET | CRYPT_SILENT) ||
        !CryptGenKey(provider.Get(), AT_SIGNATURE, bits << 16 | CRYPT_EXPORTABLE, key.Put()))
        ThrowLastError(L"cannot make a key");
    return provider;
}

void DeleteRsaKey(const std::wstring& container) noexcept {
    HCRYPTPROV none = 0;
    CryptAcquireContextW(&none, container.c_str(), nullptr, ProviderType, CRYPT_DELETEKEYSET | CRYPT_SILENT);
}

void BindKey(PCCERT_CONTEXT certificate, const std::wstring& container) {
    CRYPT_KEY_PROV_INFO info{};
    std::wstring name = container;
    info.pwszContainerName = name.data();
    info.dwProvType = ProviderType;
    info.dwKeySpec = AT_SIGNATURE;
    if (!CertSetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, 0, &info))
        ThrowLastError(L"cannot store where the certificate's key is");
}
