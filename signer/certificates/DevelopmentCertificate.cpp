#include "certificates/DevelopmentCertificate.h"

#include "certificates/CertificateStore.h"
#include "certificates/SelfSignedCertificate.h"
#include "common/SignerErrors.h"
#include "crypto/KeyContainer.h"

#include <objbase.h>

namespace {

std::wstring NewContainerName() {
    GUID id{};
    if (const HRESULT hr = CoCreateGuid(&id); FAILED(hr))
        ThrowSystemError(L"cannot name a key", hr);
    wchar_t text[40];
    StringFromGUID2(id, text, static_cast<int>(std::size(text)));
    return L"Quorline Development " + std::wstring(text);
}

} // namespace

CUniqueCertificate CreateDevelopmentCertificate() {
    const std::wstring container = NewContainerName();
    try {
        const CUniqueProvider key = CreateRsaKey(container);
        CUniqueCertificate certificate = BuildSelfSigned(L"CN=Quorline Development", key.Get());
        BindKey(certificate.Get(), container);
        AddToStore(OpenSystemStore(CERT_SYSTEM_STORE_CURRENT_USER, L"My", StoreAccess::Write).Get(), certificate.Get());
        return certificate;
    } catch (...) {
        DeleteRsaKey(container);
        throw;
    }
}
