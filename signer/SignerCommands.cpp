#include "SignerCommands.h"

#include "certificates/CertificateStore.h"
#include "certificates/DevelopmentCertificate.h"
#include "common/FileBytes.h"
#include "common/SignerErrors.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr const wchar_t* PasswordName = L"QUORLINE_PFX_PASSWORD";
constexpr const wchar_t* Roots = L"Root";
constexpr const wchar_t* Publishers = L"TrustedPublisher";

void WriteFileBytes(const std::wstring& path, CBytesView bytes) {
    const CUniqueHandle file(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    DWORD written = 0;
    if (!file || !WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr))
        ThrowLastError(L"cannot write '" + path + L"'");
}

} // namespace

CSigningCertificate FindSigningCertificate(const std::wstring& pfxFile, const std::wstring& name) {
    if (pfxFile.empty())
        return CSigningCertificate::FromStore(name, L"");
    const wchar_t* const password = _wgetenv(PasswordName);
    try {
        return CSigningCertificate::FromPfx(pfxFile, password != nullptr ? password : L"");
    } catch (const CSignerError& error) {
        if (password != nullptr || error.Result() != HRESULT_FROM_WIN32(ERROR_INVALID_PASSWORD))
            throw;
        throw CSignerError(error.Result(), L"cannot read '" + pfxFile +
                                               L"': it is no .pfx file, or it has a password; set " + PasswordName +
                                               L" to it");
    }
}

std::vector<CUniqueCertificate> ReadCertificates(const std::wstring& path) {
    constexpr std::string_view begin = "-----BEGIN CERTIFICATE-----";
    constexpr std::string_view end = "-----END CERTIFICATE-----";
    const CBytes bytes = ReadFileBytes(path);
    std::vector<CUniqueCertificate> certificates;
    const auto add = [&](CBytesView der) {
        certificates.emplace_back(
            CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size())));
        if (!certificates.back())
            throw CSignerError(CRYPT_E_BAD_ENCODE, L"'" + path + L"' is no certificate");
    };
    std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (text.find(begin) == std::string_view::npos)
        add(bytes);
    for (std::size_t at = text.find(begin); at != std::string_view::npos; at = text.find(begin)) {
        const std::size_t last = text.find(end, at);
        const auto length = static_cast<DWORD>(std::min(last, text.size() - end.size()) + end.size() - at);
        CBytes der(length);
        DWORD size = length;
        if (!CryptStringToBinaryA(text.data() + at, length, CRYPT_STRING_BASE64HEADER, der.data(), &size, nullptr,
                                  nullptr))
            size = 0;
        add(CBytesView(der).first(size));
        text.remove_prefix(at + length);
    }
    return certificates;
}

CTrustPlaces PlacesFor(PCCERT_CONTEXT certificate) {
    return {IsSelfIssued(certificate), HasUsage(certificate, szOID_PKIX_KP_CODE_SIGNING)};
}

void TrustCertificate(PCCERT_CONTEXT certificate, const CTrustPlaces& places) {
    const auto add = [&](const wchar_t* store) {
        AddToStore(OpenSystemStore(CERT_SYSTEM_STORE_LOCAL_MACHINE, store, StoreAccess::Write).Get(), certificate);
    };
    if (places.root)
        add(Roots);
    if (places.publisher)
        add(Publishers);
}

CTrustPlaces DistrustCertificate(PCCERT_CONTEXT certificate) {
    const CTrustPlaces found = FindTrust(certificate);
    const auto remove = [&](const wchar_t* name) {
        RemoveFromStore(OpenSystemStore(CERT_SYSTEM_STORE_LOCAL_MACHINE, name, StoreAccess::Write).Get(), certificate);
        // Not every system writes the removal down before the store is opened the next time.
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, (std::wstring(L"Software\\Microsoft\\SystemCertificates\\") + name +
                                            L"\\Certificates\\" + ThumbprintOf(certificate))
                                               .c_str());
    };
    if (found.root)
        remove(Roots);
    if (found.publisher)
        remove(Publishers);
    return found;
}

CTrustPlaces FindTrust(PCCERT_CONTEXT certificate) {
    const auto holds = [&](const wchar_t* name) {
        return StoreHolds(OpenSystemStore(CERT_SYSTEM_STORE_LOCAL_MACHINE, name).Get(), certificate);
    };
    return {holds(Roots), holds(Publishers)};
}

CUniqueCertificate WriteDevelopmentCertificate(const std::wstring& path) {
    CUniqueCertificate certificate = CreateDevelopmentCertificate();
    WriteFileBytes(path, EncodedBytes(certificate.Get()));
    return certificate;
}

std::wstring DescribeTime(const FILETIME& time) {
    SYSTEMTIME parts{};
    FileTimeToSystemTime(&time, &parts);
    wchar_t text[64];
    _snwprintf_s(text, std::size(text), _TRUNCATE, L"%04u-%02u-%02u %02u:%02u:%02u UTC", parts.wYear, parts.wMonth,
                 parts.wDay, parts.wHour, parts.wMinute, parts.wSecond);
    return text;
}

std::wstring DescribeNearEnd(const FILETIME& validUntil) {
    constexpr long long day = 24LL * 60 * 60 * 10'000'000;
    constexpr long long soon = 30;
    const auto ticks = [](const FILETIME& time) {
        return static_cast<long long>(ULARGE_INTEGER{{time.dwLowDateTime, time.dwHighDateTime}}.QuadPart);
    };
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    const long long left = ticks(validUntil) - ticks(now);
    if (left > soon * day)
        return {};
    if (left <= 0)
        return L"the certificate ended on " + DescribeTime(validUntil);
    const std::wstring days = left / day == 1 ? L"1 day" : std::to_wstring(left / day) + L" days";
    return L"the certificate ends in " + days + L", on " + DescribeTime(validUntil);
}
