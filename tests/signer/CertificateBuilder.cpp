#include "CertificateBuilder.h"

#include "common/Clock.h"
#include "common/SignerErrors.h"
#include "DerWriter.h"

namespace {

CBytes EncodeName(const std::wstring& name) {
    DWORD size = 0;
    if (!CertStrToNameW(X509_ASN_ENCODING, name.c_str(), CERT_X500_NAME_STR, nullptr, nullptr, &size, nullptr))
        ThrowLastError(L"'" + name + L"' is no name for a certificate");
    CBytes encoded(size);
    if (!CertStrToNameW(X509_ASN_ENCODING, name.c_str(), CERT_X500_NAME_STR, nullptr, encoded.data(), &size, nullptr))
        ThrowLastError(L"'" + name + L"' is no name for a certificate");
    return encoded;
}

CBytes EncodePublicKey(HCRYPTPROV key) {
    DWORD size = 0;
    CryptExportPublicKeyInfo(key, AT_SIGNATURE, X509_ASN_ENCODING, nullptr, &size);
    CBytes buffer(size);
    auto* const info = reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(buffer.data());
    if (!CryptExportPublicKeyInfo(key, AT_SIGNATURE, X509_ASN_ENCODING, info, &size))
        ThrowLastError(L"cannot read the public key");
    return DerSequence(
        {DerAlgorithm(szOID_RSA_RSA), DerBitString(CBytesView(info->PublicKey.pbData, info->PublicKey.cbData))});
}

CBytes RandomSerial(HCRYPTPROV key) {
    CBytes serial(16);
    if (!CryptGenRandom(key, static_cast<DWORD>(serial.size()), serial.data()))
        ThrowLastError(L"cannot make a serial number");
    // Positive, and of full length.
    serial[0] = static_cast<BYTE>((serial[0] & 0x7F) | 0x40);
    return DerElement(DerTag::Integer, {serial});
}

CBytes Extension(const char* oid, bool critical, const CBytes& value) {
    const BYTE yes = 0xFF;
    return DerSequence(
        {DerOid(oid), critical ? DerElement(DerTag::Boolean, {CBytesView(&yes, 1)}) : CBytes(), DerOctets(value)});
}

CBytes EncodeExtensions(const CCertificateRequest& request) {
    // Signing of content, or of certificates and revocation lists; two bits at most, the rest unused.
    const BYTE contentUse[] = {7, 0x80};
    const BYTE authorityUse[] = {1, 0x06};
    const BYTE yes = 0xFF;
    CBytes extensions = Extension(szOID_KEY_USAGE, true,
                                  DerElement(DerTag::BitString, {request.authority ? authorityUse : contentUse}));
    const auto add = [&](const CBytes& more) { extensions.insert(extensions.end(), more.begin(), more.end()); };
    if (request.authority)
        add(Extension(szOID_BASIC_CONSTRAINTS2, true,
                      DerSequence({DerElement(DerTag::Boolean, {CBytesView(&yes, 1)})})));
    if (!request.usages.empty()) {
        CBytes usages;
        for (const char* const usage : request.usages) {
            const CBytes oid = DerOid(usage);
            usages.insert(usages.end(), oid.begin(), oid.end());
        }
        add(Extension(szOID_ENHANCED_KEY_USAGE, false, DerSequence({usages})));
    }
    if (!request.revocationListUrl.empty()) {
        const std::string& url = request.revocationListUrl;
        const CBytes name = DerElement(0x86, {CBytesView(reinterpret_cast<const BYTE*>(url.data()), url.size())});
        const CBytes point = DerElement(DerTag::Context(0), {DerElement(DerTag::Context(0), {name})});
        add(Extension(szOID_CRL_DIST_POINTS, false, DerSequence({DerSequence({point})})));
    }
    return DerElement(DerTag::Context(3), {DerSequence({extensions})});
}

} // namespace

CUniqueCertificate BuildCertificate(const CCertificateRequest& request, HCRYPTPROV subjectKey,
                                    const CCertificateIssuer* issuer, const CDigestAlgorithm& digest) {
    const CBytes subject = EncodeName(request.subject);
    CBytes issuerName = subject;
    if (issuer != nullptr) {
        const CERT_NAME_BLOB& name = issuer->certificate->pCertInfo->Subject;
        issuerName.assign(name.pbData, name.pbData + name.cbData);
    }
    const CBytes algorithm = DerAlgorithm(digest.rsaOid);
    const CBytes fields =
        DerSequence({DerElement(DerTag::Context(0), {DerInteger(2)}), RandomSerial(subjectKey), algorithm, issuerName,
                     DerSequence({DerTime(request.notBefore), DerTime(request.notAfter)}), subject,
                     EncodePublicKey(subjectKey), EncodeExtensions(request)});
    const CSigningKey own(subjectKey, AT_SIGNATURE);
    const CBytes signature = (issuer != nullptr ? issuer->key : own).Sign(digest, fields);
    const CBytes encoded = DerSequence({fields, algorithm, DerBitString(signature)});
    CUniqueCertificate certificate(
        CertCreateCertificateContext(X509_ASN_ENCODING, encoded.data(), static_cast<DWORD>(encoded.size())));
    if (!certificate)
        ThrowLastError(L"cannot make a certificate");
    return certificate;
}

FILETIME HoursFromNow(long long hours) {
    return FromNow(std::chrono::hours(hours));
}
