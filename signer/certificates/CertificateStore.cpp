#include "certificates/CertificateStore.h"

#include "common/SignerErrors.h"

#include <cstring>

namespace {

/// Without this extension the system's own call answers "every usage".
const CERT_EXTENSION* FindUsages(PCCERT_CONTEXT certificate) {
    return CertFindExtension(szOID_ENHANCED_KEY_USAGE, certificate->pCertInfo->cExtension,
                             certificate->pCertInfo->rgExtension);
}

bool Names(const CERT_EXTENSION& usages, const char* usage) {
    const CBytes wanted = DerOid(usage);
    try {
        CDerReader value(CBytesView(usages.Value.pbData, usages.Value.cbData));
        for (CDerReader list = value.Enter(DerTag::Sequence); !list.AtEnd();) {
            if (SameBytes(list.Read(DerTag::Oid).whole, wanted))
                return true;
        }
    } catch (const CRefusal&) {
        return false;
    }
    return false;
}

/// Empty when the store does not hold exactly this one.
CUniqueCertificate FindInStore(HCERTSTORE store, PCCERT_CONTEXT certificate) {
    CUniqueCertificate found;
    // The system compares issuer and serial number only; that is where a forgery would begin.
    while (store != nullptr) {
        found = CUniqueCertificate(
            CertFindCertificateInStore(store, X509_ASN_ENCODING, 0, CERT_FIND_EXISTING, certificate, found.Detach()));
        if (!found || SameBytes(EncodedBytes(found.Get()), EncodedBytes(certificate)))
            break;
    }
    return found;
}

} // namespace

CUniqueStore OpenSystemStore(DWORD where, const wchar_t* name, StoreAccess access) {
    const DWORD flags =
        access == StoreAccess::Read ? CERT_STORE_READONLY_FLAG | CERT_STORE_OPEN_EXISTING_FLAG : DWORD{0};
    CUniqueStore store(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, where | flags, name));
    if (!store && access == StoreAccess::Write)
        ThrowLastError(std::wstring(L"cannot open the certificate store '") + name + L"'");
    return store;
}

bool StoreHolds(HCERTSTORE store, PCCERT_CONTEXT certificate) {
    return static_cast<bool>(FindInStore(store, certificate));
}

void AddToStore(HCERTSTORE store, PCCERT_CONTEXT certificate) {
    if (!CertAddCertificateContextToStore(store, certificate, CERT_STORE_ADD_REPLACE_EXISTING, nullptr))
        ThrowLastError(L"cannot add the certificate '" + SubjectOf(certificate) + L"' to the store");
}

void RemoveFromStore(HCERTSTORE store, PCCERT_CONTEXT certificate) {
    CUniqueCertificate found = FindInStore(store, certificate);
    // The call frees the certificate, also when it fails.
    if (found && !CertDeleteCertificateFromStore(found.Detach()))
        ThrowLastError(L"cannot take the certificate '" + SubjectOf(certificate) + L"' out of the store");
}

std::wstring SubjectOf(PCCERT_CONTEXT certificate) {
    constexpr std::size_t longest = 256;
    CERT_NAME_BLOB& name = certificate->pCertInfo->Subject;
    const DWORD length = CertNameToStrW(X509_ASN_ENCODING, &name, CERT_X500_NAME_STR, nullptr, 0);
    std::wstring subject(length, L'\0');
    if (length > 1)
        CertNameToStrW(X509_ASN_ENCODING, &name, CERT_X500_NAME_STR, subject.data(), length);
    subject.resize(std::wcslen(subject.c_str()));
    for (wchar_t& character : subject) {
        if (character < L' ' || (character >= 0x7F && character < 0xA0) || (character & 0xFFFE) == 0x2028)
            character = L'?';
    }
    if (subject.size() > longest)
        subject = subject.substr(0, longest) + L"...";
    return subject.empty() ? L"(no name)" : subject;
}

std::wstring ThumbprintOf(PCCERT_CONTEXT certificate) {
    BYTE hash[20];
    DWORD size = sizeof hash;
    std::wstring text;
    if (!CertGetCertificateContextProperty(certificate, CERT_SHA1_HASH_PROP_ID, hash, &size))
        return text;
    for (const BYTE byte : hash) {
        text += L"0123456789ABCDEF"[byte >> 4];
        text += L"0123456789ABCDEF"[byte & 0xF];
    }
    return text;
}

bool HasUsage(PCCERT_CONTEXT certificate, const char* usage) {
    const CERT_EXTENSION* const extension = FindUsages(certificate);
    return extension != nullptr && Names(*extension, usage);
}

bool AllowsUsage(PCCERT_CONTEXT authority, const char* usage) {
    const CERT_EXTENSION* const extension = FindUsages(authority);
    return extension == nullptr || Names(*extension, usage) || Names(*extension, szOID_ANY_ENHANCED_KEY_USAGE);
}

bool IsSelfIssued(PCCERT_CONTEXT certificate) {
    return CertCompareCertificateName(X509_ASN_ENCODING, &certificate->pCertInfo->Subject,
                                      &certificate->pCertInfo->Issuer) != FALSE;
}
