#include "crypto/SigningKey.h"

#include "common/SignerErrors.h"

#include <algorithm>

CSigningKey::CSigningKey(PCCERT_CONTEXT certificate) : m_handle(0), m_keySpec(0) {
    if (certificate->pCertInfo->SubjectPublicKeyInfo.Algorithm.pszObjId != std::string_view(szOID_RSA_RSA))
        throw CSignerError(NTE_BAD_KEY, L"scripts can be signed with RSA keys only");
    BOOL owned = FALSE;
    CERT_KEY_CONTEXT context{};
    DWORD size = sizeof context;
    if (CryptAcquireCertificatePrivateKey(certificate, CRYPT_ACQUIRE_SILENT_FLAG | CRYPT_ACQUIRE_ALLOW_NCRYPT_KEY_FLAG,
                                          nullptr, &m_handle, &m_keySpec, &owned)) {
        if (owned && m_keySpec == CERT_NCRYPT_KEY_SPEC)
            m_ownedKey.Reset(m_handle);
        else if (owned)
            m_ownedProvider.Reset(m_handle);
    } else if (const DWORD error = GetLastError();
               CertGetCertificateContextProperty(certificate, CERT_KEY_CONTEXT_PROP_ID, &context, &size)) {
        // A key that is kept nowhere hangs on the certificate itself.
        m_handle = context.hCryptProv;
        m_keySpec = context.dwKeySpec;
    } else
        ThrowSystemError(L"the certificate's private key cannot be used", HRESULT_FROM_WIN32(error));
    if (m_keySpec != CERT_NCRYPT_KEY_SPEC)
        RequireSha256();
}

bool CSigningKey::BelongsTo(PCCERT_CONTEXT certificate) const {
    DWORD size = 0;
    if (!CryptExportPublicKeyInfo(m_handle, m_keySpec, X509_ASN_ENCODING, nullptr, &size))
        return false;
    CBytes buffer(size);
    auto* const info = reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(buffer.data());
    return CryptExportPublicKeyInfo(m_handle, m_keySpec, X509_ASN_ENCODING, info, &size) &&
           CertComparePublicKeyInfo(X509_ASN_ENCODING, info, &certificate->pCertInfo->SubjectPublicKeyInfo);
}

CBytes CSigningKey::Export(const wchar_t* ifItMayNot) const {
    CUniqueCryptKey key;
    DWORD size = 0;
    if (!CryptGetUserKey(m_handle, m_keySpec, key.Put()) ||
        !CryptExportKey(key.Get(), 0, PRIVATEKEYBLOB, 0, nullptr, &size))
        ThrowLastError(ifItMayNot);
    CBytes blob(size);
    if (!CryptExportKey(key.Get(), 0, PRIVATEKEYBLOB, 0, blob.data(), &size))
        ThrowLastError(ifItMayNot);
    return blob;
}

CUniqueProvider CSigningKey::CopyToMemory() const {
    return m_keySpec == CERT_NCRYPT_KEY_SPEC ? CUniqueProvider()
                                             : Copy(L"the certificate's private key cannot be read");
}

CUniqueProvider CSigningKey::Copy(const wchar_t* ifItMayNot) const {
    CBytes blob = Export(ifItMayNot);
    CUniqueProvider provider;
    CUniqueCryptKey key;
    const bool copied =
        CryptAcquireContextW(provider.Put(), nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT | CRYPT_SILENT) &&
        CryptImportKey(provider.Get(), blob.data(), static_cast<DWORD>(blob.size()), 0, CRYPT_EXPORTABLE, key.Put());
    const DWORD error = GetLastError();
    SecureZeroMemory(blob.data(), blob.size());
    if (!copied)
        ThrowSystemError(L"the certificate's private key cannot be used", HRESULT_FROM_WIN32(error));
    return provider;
}

void CSigningKey::RequireSha256() {
    CUniqueCryptHash hash;
    if (CryptCreateHash(m_handle, CALG_SHA_256, 0, 0, hash.Put()))
        return;
    m_ownedProvider = Copy(L"the provider of the certificate's key knows no SHA-256, and the key may not leave it");
    m_handle = m_ownedProvider.Get();
}

CBytes CSigningKey::Sign(const CDigestAlgorithm& digest, CBytesView message) const {
    CBytes hash = ComputeDigest(digest, message);
    return m_keySpec == CERT_NCRYPT_KEY_SPEC ? SignWithNCrypt(digest, std::move(hash)) : SignWithProvider(digest, hash);
}

CBytes CSigningKey::SignWithProvider(const CDigestAlgorithm& digest, const CBytes& hash) const {
    CUniqueCryptHash object;
    DWORD size = 0;
    if (!CryptCreateHash(m_handle, digest.algId, 0, 0, object.Put()) ||
        !CryptSetHashParam(object.Get(), HP_HASHVAL, hash.data(), 0) ||
        !CryptSignHashW(object.Get(), m_keySpec, nullptr, 0, nullptr, &size))
        ThrowLastError(L"cannot sign with the certificate's key");
    CBytes signature(size);
    if (!CryptSignHashW(object.Get(), m_keySpec, nullptr, 0, signature.data(), &size))
        ThrowLastError(L"cannot sign with the certificate's key");
    std::ranges::reverse(signature);
    return signature;
}

CBytes CSigningKey::SignWithNCrypt(const CDigestAlgorithm& digest, CBytes hash) const {
    BCRYPT_PKCS1_PADDING_INFO padding{digest.name};
    DWORD size = 0;
    CBytes signature(1024);
    const SECURITY_STATUS status =
        NCryptSignHash(m_handle, &padding, hash.data(), static_cast<DWORD>(hash.size()), signature.data(),
                       static_cast<DWORD>(signature.size()), &size, BCRYPT_PAD_PKCS1);
    if (status != ERROR_SUCCESS)
        ThrowSystemError(L"cannot sign with the certificate's key", status);
    signature.resize(size);
    return signature;
}
