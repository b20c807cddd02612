#include "certificates/SigningCertificate.h"

#include "certificates/CertificateStore.h"
#include "base/Text.h"
#include "common/FileBytes.h"
#include "common/SignerErrors.h"
#include "crypto/SigningKey.h"

#include <vector>

namespace {

bool HasPrivateKey(PCCERT_CONTEXT certificate) {
    constexpr DWORD properties[] = {CERT_KEY_PROV_INFO_PROP_ID, CERT_KEY_CONTEXT_PROP_ID,
                                    CERT_NCRYPT_KEY_HANDLE_PROP_ID};
    for (const DWORD property : properties) {
        DWORD size = 0;
        if (CertGetCertificateContextProperty(certificate, property, nullptr, &size))
            return true;
    }
    return false;
}

std::wstring CommonName(PCCERT_CONTEXT certificate) {
    wchar_t name[256];
    CertGetNameStringW(certificate, CERT_NAME_ATTR_TYPE, 0, const_cast<char*>(szOID_COMMON_NAME), name,
                       static_cast<DWORD>(std::size(name)));
    return name;
}

/// A thumbprint as it is pasted from a window: blanks in it, an invisible mark in front.
std::wstring NormalThumbprint(const std::wstring& text) {
    std::wstring digits;
    for (const wchar_t character : text) {
        if (character < 128 && iswxdigit(character))
            digits += static_cast<wchar_t>(towupper(character));
        else if (character != L' ' && character != L':' && character != 0x200E)
            return {};
    }
    return digits.size() == 40 ? digits : std::wstring();
}

bool IsNamed(PCCERT_CONTEXT certificate, const std::wstring& name, const std::wstring& thumbprint) {
    if (!thumbprint.empty())
        return ThumbprintOf(certificate) == thumbprint;
    return name.empty() || SameText(SubjectOf(certificate), name) || SameText(CommonName(certificate), name);
}

bool IsNewer(PCCERT_CONTEXT left, PCCERT_CONTEXT right) {
    return CompareFileTime(&left->pCertInfo->NotBefore, &right->pCertInfo->NotBefore) > 0;
}

/// Certificates for code signing whose private key is at hand, one for each subject.
std::vector<CUniqueCertificate> FindCandidates(HCERTSTORE store, const std::wstring& name) {
    const std::wstring thumbprint = NormalThumbprint(name);
    std::vector<CUniqueCertificate> candidates;
    PCCERT_CONTEXT next = nullptr;
    while (store != nullptr && (next = CertEnumCertificatesInStore(store, next)) != nullptr) {
        if (!HasPrivateKey(next) || !HasUsage(next, szOID_PKIX_KP_CODE_SIGNING) || !IsNamed(next, name, thumbprint))
            continue;
        bool known = false;
        for (CUniqueCertificate& candidate : candidates) {
            if (!CertCompareCertificateName(X509_ASN_ENCODING, &next->pCertInfo->Subject,
                                            &candidate.Get()->pCertInfo->Subject))
                continue;
            known = true;
            if (IsNewer(next, candidate.Get()))
                candidate = ShareCertificate(next);
        }
        if (!known)
            candidates.push_back(ShareCertificate(next));
    }
    return candidates;
}

/// Puts an empty key in place of the user's registry while it lives. Wine keeps the key of a .pfx file in the user's
/// default container, over one that is there, whatever it is told; so it is shown a registry where there is none, which
/// goes afterwards with all that was written into it.
class CEmptyUserRegistry {
public:
    CEmptyUserRegistry() : m_name(L"Software\\Morvane.signing-" + std::to_wstring(GetCurrentProcessId())) {
        LSTATUS status = RegCreateKeyExW(HKEY_CURRENT_USER, m_name.c_str(), 0, nullptr, REG_OPTION_VOLATILE,
                                         KEY_ALL_ACCESS, nullptr, m_key.Put(), nullptr);
        if (status == ERROR_SUCCESS)
            status = RegOverridePredefKey(HKEY_CURRENT_USER, m_key.Get());
        if (status == ERROR_SUCCESS)
            return;
        RegDeleteTreeW(HKEY_CURRENT_USER, m_name.c_str());
        ThrowSystemError(L"cannot keep the key out of the user's registry", HRESULT_FROM_WIN32(status));
    }
    CEmptyUserRegistry(const CEmptyUserRegistry&) = delete;
    CEmptyUserRegistry& operator=(const CEmptyUserRegistry&) = delete;
    ~CEmptyUserRegistry() {
        RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
        RegDeleteTreeW(HKEY_CURRENT_USER, m_name.c_str());
    }

private:
    std::wstring m_name;
    CUniqueRegKey m_key;
};

/// Empty when there is none.
CUniqueCertificate FindOwnerOfKey(HCERTSTORE store) {
    CUniqueCertificate found;
    PCCERT_CONTEXT next = nullptr;
    while ((next = CertEnumCertificatesInStore(store, next)) != nullptr) {
        // Wine says of every certificate in the file that the private key is its own.
        if (HasPrivateKey(next) && HasUsage(next, szOID_PKIX_KP_CODE_SIGNING) && CSigningKey(next).BelongsTo(next) &&
            (!found || IsNewer(next, found.Get())))
            found = ShareCertificate(next);
    }
    return found;
}

/// The certificates alone, without anything that the system has attached to them.
CUniqueStore CopyCertificates(HCERTSTORE store) {
    CUniqueStore copy(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    PCCERT_CONTEXT next = nullptr;
    while ((next = CertEnumCertificatesInStore(store, next)) != nullptr)
        CertAddEncodedCertificateToStore(copy.Get(), X509_ASN_ENCODING, next->pbCertEncoded, next->cbCertEncoded,
                                         CERT_STORE_ADD_ALWAYS, nullptr);
    return copy;
}

/// The same certificate with a key that is in memory.
CUniqueCertificate WithKey(PCCERT_CONTEXT certificate, HCRYPTPROV key, DWORD keySpec) {
    CUniqueCertificate copy(
        CertCreateCertificateContext(X509_ASN_ENCODING, certificate->pbCertEncoded, certificate->cbCertEncoded));
    CERT_KEY_CONTEXT context{sizeof context, {key}, keySpec};
    if (!copy || !CertSetCertificateContextProperty(copy.Get(), CERT_KEY_CONTEXT_PROP_ID,
                                                    CERT_STORE_NO_CRYPT_RELEASE_FLAG, &context))
        ThrowLastError(L"the certificate's private key cannot be used");
    return copy;
}

} // namespace

CSigningCertificate CSigningCertificate::FromStore(const std::wstring& name, const std::wstring& store) {
    const std::wstring storeName = store.empty() ? L"My" : store;
    constexpr DWORD places[] = {CERT_SYSTEM_STORE_CURRENT_USER, CERT_SYSTEM_STORE_LOCAL_MACHINE};
    for (const DWORD where : places) {
        CUniqueStore opened = OpenSystemStore(where, storeName.c_str());
        std::vector<CUniqueCertificate> candidates = FindCandidates(opened.Get(), name);
        if (candidates.size() == 1)
            return {std::move(opened), std::move(candidates.front())};
        if (candidates.empty())
            continue;
        std::wstring list;
        for (const CUniqueCertificate& candidate : candidates)
            list += (list.empty() ? L" " : L", ") + ThumbprintOf(candidate.Get()) + L" (" + SubjectOf(candidate.Get()) +
                    L")";
        throw CSignerError(HRESULT_FROM_WIN32(ERROR_MORE_DATA),
                           L"several certificates can sign; name one by its thumbprint:" + list);
    }
    throw CSignerError(CRYPT_E_NOT_FOUND,
                       name.empty()
                           ? L"no certificate for code signing with a private key is in the store '" + storeName + L"'"
                           : L"no certificate for code signing with a private key is called '" + name +
                                 L"' in the store '" + storeName + L"'");
}

CSigningCertificate CSigningCertificate::FromPfx(const std::wstring& path, const std::wstring& password) {
    CBytes bytes = ReadFileBytes(path);
    CRYPT_DATA_BLOB blob{static_cast<DWORD>(bytes.size()), bytes.data()};
    const CEmptyUserRegistry registry;
    CUniqueStore store(PFXImportCertStore(&blob, password.c_str(), PKCS12_NO_PERSIST_KEY | CRYPT_EXPORTABLE));
    if (!store)
        throw CSignerError(HRESULT_FROM_WIN32(ERROR_INVALID_PASSWORD),
                           L"cannot read '" + path + L"': it is no .pfx file, or its password is another");
    CUniqueCertificate owner = FindOwnerOfKey(store.Get());
    if (!owner)
        throw CSignerError(CRYPT_E_NOT_FOUND,
                           L"'" + path + L"' holds no certificate for code signing together with its private key");
    const CSigningKey key(owner.Get());
    CUniqueProvider copy = key.CopyToMemory();
    if (!copy)
        return {std::move(store), std::move(owner)};
    CUniqueCertificate signer = WithKey(owner.Get(), copy.Get(), key.KeySpec());
    return {CopyCertificates(store.Get()), std::move(signer), std::move(copy)};
}
