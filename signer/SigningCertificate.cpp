#include "SigningCertificate.h"

#include "CertificateStore.h"
#include "ScriptText.h"
#include "SignerErrors.h"

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
    return name.empty() || _wcsicmp(SubjectOf(certificate).c_str(), name.c_str()) == 0 ||
           _wcsicmp(CommonName(certificate).c_str(), name.c_str()) == 0;
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

/// The name of the user's default key container; empty when there is none.
std::string DefaultContainer() {
    CUniqueProvider provider;
    char name[MAX_PATH] = "";
    DWORD size = sizeof name;
    if (CryptAcquireContextW(provider.Put(), nullptr, MS_ENHANCED_PROV_W, PROV_RSA_FULL, CRYPT_SILENT))
        CryptGetProvParam(provider.Get(), PP_CONTAINER, reinterpret_cast<BYTE*>(name), &size, 0);
    return name;
}

} // namespace

CTemporaryContainer::~CTemporaryContainer() {
    HCRYPTPROV none = 0;
    if (!m_name.empty())
        CryptAcquireContextA(&none, m_name.c_str(), MS_ENHANCED_PROV_A, PROV_RSA_FULL,
                             CRYPT_DELETEKEYSET | CRYPT_SILENT);
}

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
            list += L"\n  " + ThumbprintOf(candidate.Get()) + L"  " + SubjectOf(candidate.Get());
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
    // Nothing of the key is to stay behind on the machine. Wine puts it into the default container all the same.
    const std::string before = DefaultContainer();
    CUniqueStore store(PFXImportCertStore(&blob, password.c_str(), PKCS12_NO_PERSIST_KEY | CRYPT_EXPORTABLE));
    if (!store)
        throw CSignerError(HRESULT_FROM_WIN32(ERROR_INVALID_PASSWORD),
                           L"cannot read '" + path + L"': it is no .pfx file, or its password is another");
    CTemporaryContainer container(before.empty() ? DefaultContainer() : std::string());
    CUniqueCertificate next;
    for (;;) {
        next = CUniqueCertificate(CertEnumCertificatesInStore(store.Get(), next.Detach()));
        if (!next)
            break;
        if (HasPrivateKey(next.Get()))
            return {std::move(store), std::move(next), std::move(container)};
    }
    throw CSignerError(CRYPT_E_NOT_FOUND, L"'" + path + L"' holds no certificate with a private key");
}
