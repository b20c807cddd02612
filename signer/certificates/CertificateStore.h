#pragma once

// Certificate stores of the system, and what certificates are called.

#include "asn1/Der.h"
#include "common/CryptHandles.h"

#include <string>

enum class StoreAccess { Read, Write };

/// Where is CERT_SYSTEM_STORE_LOCAL_MACHINE or CERT_SYSTEM_STORE_CURRENT_USER. Empty when a store cannot be opened for
/// reading, which is as good as an empty one; throws CSignerError when it cannot be opened for writing.
CUniqueStore OpenSystemStore(DWORD where, const wchar_t* name, StoreAccess access = StoreAccess::Read);

/// Whether exactly this certificate is in the store, which may be empty.
bool StoreHolds(HCERTSTORE store, PCCERT_CONTEXT certificate);

/// Throws CSignerError.
void AddToStore(HCERTSTORE store, PCCERT_CONTEXT certificate);

/// Takes exactly this certificate out of the store, if it is there. Throws CSignerError.
void RemoveFromStore(HCERTSTORE store, PCCERT_CONTEXT certificate);

/// The subject's distinguished name, fit for one line of a log: whoever made the certificate chose it.
std::wstring SubjectOf(PCCERT_CONTEXT certificate);

/// SHA-1 of the certificate in upper-case hexadecimal, as Windows shows it.
std::wstring ThumbprintOf(PCCERT_CONTEXT certificate);

/// Whether the certificate's own extended key usage names it; a certificate without that extension names none.
bool HasUsage(PCCERT_CONTEXT certificate, const char* usage);

/// Whether an authority may vouch for it: its own extended key usage names it or any, or there is no such extension.
bool AllowsUsage(PCCERT_CONTEXT authority, const char* usage);

/// Issued by itself, judged by the names.
bool IsSelfIssued(PCCERT_CONTEXT certificate);

inline CBytesView EncodedBytes(PCCERT_CONTEXT certificate) noexcept {
    return {certificate->pbCertEncoded, certificate->cbCertEncoded};
}
