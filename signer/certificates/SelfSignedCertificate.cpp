#include "certificates/SelfSignedCertificate.h"

#include "asn1/Der.h"
#include "common/Clock.h"
#include "common/SignerErrors.h"

#include <iterator>

namespace {

CRYPT_DATA_BLOB Blob(CBytes& bytes) {
    return {static_cast<DWORD>(bytes.size()), bytes.data()};
}

[[noreturn]] void Fail() {
    ThrowLastError(L"cannot make a certificate");
}

CBytes EncodeName(const std::wstring& name) {
    const auto encode = [&name](BYTE* encoded, DWORD& size) {
        if (!CertStrToNameW(X509_ASN_ENCODING, name.c_str(), CERT_X500_NAME_STR, nullptr, encoded, &size, nullptr))
            ThrowLastError(L"'" + name + L"' is no name for a certificate");
    };
    DWORD size = 0;
    encode(nullptr, size);
    CBytes encoded(size);
    encode(encoded.data(), size);
    return encoded;
}

CBytes Encode(const char* type, const void* value) {
    DWORD size = 0;
    if (!CryptEncodeObject(X509_ASN_ENCODING, type, value, nullptr, &size))
        Fail();
    CBytes encoded(size);
    if (!CryptEncodeObject(X509_ASN_ENCODING, type, value, encoded.data(), &size))
        Fail();
    encoded.resize(size);
    return encoded;
}

/// A CERT_PUBLIC_KEY_INFO with what it points to.
CBytes ExportPublicKey(HCRYPTPROV key) {
    DWORD size = 0;
    if (!CryptExportPublicKeyInfo(key, AT_SIGNATURE, X509_ASN_ENCODING, nullptr, &size))
        Fail();
    CBytes info(size);
    if (!CryptExportPublicKeyInfo(key, AT_SIGNATURE, X509_ASN_ENCODING,
                                  reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(info.data()), &size))
        Fail();
    return info;
}

/// Least significant byte first; positive, and of full length.
CBytes RandomSerial(HCRYPTPROV key) {
    CBytes serial(16);
    if (!CryptGenRandom(key, static_cast<DWORD>(serial.size()), serial.data()))
        ThrowLastError(L"cannot make a serial number");
    serial.back() = static_cast<BYTE>((serial.back() & 0x7F) | 0x40);
    return serial;
}

} // namespace

// Not CertCreateSelfSignCertificate: it chooses the serial number, and Wine's may be negative.
CUniqueCertificate BuildSelfSigned(const std::wstring& subject, HCRYPTPROV key) {
    CBytes name = EncodeName(subject);
    CBytes serial = RandomSerial(key);
    CBytes publicKey = ExportPublicKey(key);
    CBytes null = DerNull();

    BYTE usage = CERT_DIGITAL_SIGNATURE_KEY_USAGE;
    const CRYPT_BIT_BLOB usageBits{sizeof usage, &usage, 7};
    CBytes keyUsage = Encode(X509_KEY_USAGE, &usageBits);
    LPSTR purposes[] = {const_cast<LPSTR>(szOID_PKIX_KP_CODE_SIGNING)};
    const CERT_ENHKEY_USAGE purposeList{1, purposes};
    CBytes extendedUsage = Encode(X509_ENHANCED_KEY_USAGE, &purposeList);
    CERT_EXTENSION extensions[] = {
        {const_cast<LPSTR>(szOID_KEY_USAGE), TRUE, Blob(keyUsage)},
        {const_cast<LPSTR>(szOID_ENHANCED_KEY_USAGE), FALSE, Blob(extendedUsage)},
    };

    CERT_INFO fields{};
    fields.dwVersion = CERT_V3;
    fields.SerialNumber = Blob(serial);
    fields.SignatureAlgorithm = {const_cast<LPSTR>(szOID_RSA_SHA256RSA), Blob(null)};
    fields.Issuer = fields.Subject = Blob(name);
    fields.NotBefore = FromNow(-std::chrono::hours(1));
    fields.NotAfter = FromNow(std::chrono::hours(365 * 24));
    fields.SubjectPublicKeyInfo = *reinterpret_cast<const CERT_PUBLIC_KEY_INFO*>(publicKey.data());
    // Which Wine leaves out.
    fields.SubjectPublicKeyInfo.Algorithm.Parameters = Blob(null);
    fields.cExtension = static_cast<DWORD>(std::size(extensions));
    fields.rgExtension = extensions;

    const auto sign = [&](BYTE* encoded, DWORD& size) {
        if (!CryptSignAndEncodeCertificate(key, AT_SIGNATURE, X509_ASN_ENCODING, X509_CERT_TO_BE_SIGNED, &fields,
                                           &fields.SignatureAlgorithm, nullptr, encoded, &size))
            Fail();
    };
    DWORD size = 0;
    sign(nullptr, size);
    CBytes encoded(size);
    sign(encoded.data(), size);
    CUniqueCertificate certificate(CertCreateCertificateContext(X509_ASN_ENCODING, encoded.data(), size));
    if (!certificate)
        Fail();
    return certificate;
}
