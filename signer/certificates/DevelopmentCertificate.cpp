#include "certificates/DevelopmentCertificate.h"

#include "certificates/CertificateBuilder.h"
#include "certificates/CertificateStore.h"
#include "common/SignerErrors.h"

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
    constexpr long long year = 365LL * 24;
    const std::wstring container = NewContainerName();
    try {
        const CUniqueProvider key = CreateRsaKey(container);
        // An hour back, for machines whose clocks differ a little.
        CUniqueCertificate certificate = BuildCertificate(
            {L"CN=Quorline Development", HoursFromNow(-1), HoursFromNow(year), {szOID_PKIX_KP_CODE_SIGNING}},
            key.Get());
        BindKey(certificate.Get(), container);
        AddToStore(OpenSystemStore(CERT_SYSTEM_STORE_CURRENT_USER, L"My", StoreAccess::Write).Get(), certificate.Get());
        return certificate;
    } catch (...) {
        DeleteRsaKey(container);
        throw;
    }
}
