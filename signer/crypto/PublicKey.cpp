#include "crypto/PublicKey.h"

#include "asn1/Der.h"
#include "common/SignerErrors.h"

#include <algorithm>

namespace {

/// ECDSA signatures travel as a SEQUENCE of two integers; the system takes both at full length, one after the other.
CBytes FlattenEcdsa(CBytesView signature, std::size_t length) {
    CBytes flat(2 * length);
    CDerReader numbers = EnterSequence(signature);
    for (std::size_t i = 1; i <= 2; ++i) {
        CBytesView number = numbers.Read(DerTag::Integer).content;
        if (number.size() > 1 && number[0] == 0 && number[1] >= 0x80)
            number = number.subspan(1);
        if (number.empty() || number[0] == 0 || number.size() > length)
            throw CRefusal(L"the signature block does not hold a well-formed signature");
        std::ranges::copy(number, flat.begin() + static_cast<std::ptrdiff_t>(i * length - number.size()));
    }
    numbers.RequireEnd();
    return flat;
}

/// Bytes of an RSA key's modulus; 0 when the key cannot be read. Read here: to tell, the system would load the key into
/// a provider, which takes as long as all the digests of a script.
ULONG ModulusLength(const CERT_PUBLIC_KEY_INFO& info) {
    try {
        CDerReader outer(CBytesView(info.PublicKey.pbData, info.PublicKey.cbData));
        CBytesView modulus = outer.Enter(DerTag::Sequence).Read(DerTag::Integer).content;
        while (!modulus.empty() && modulus[0] == 0)
            modulus = modulus.subspan(1);
        return static_cast<ULONG>(modulus.size());
    } catch (const CRefusal&) {
        return 0;
    }
}

} // namespace

CPublicKey::CPublicKey(PCCERT_CONTEXT certificate) {
    CERT_PUBLIC_KEY_INFO& info = certificate->pCertInfo->SubjectPublicKeyInfo;
    const std::string_view oid(info.Algorithm.pszObjId);
    m_rsa = oid == szOID_RSA_RSA;
    if (!m_rsa && oid != szOID_ECC_PUBLIC_KEY)
        throw CRefusal(L"the certificate's key is neither RSA nor ECDSA");
    // A point on a curve is a tag byte and two coordinates.
    m_length = m_rsa ? ModulusLength(info) : (info.PublicKey.cbData - 1) / 2;
    if (info.PublicKey.cbData == 0 || m_length == 0 ||
        !CryptImportPublicKeyInfoEx2(X509_ASN_ENCODING, &info, 0, nullptr, m_key.Put()))
        throw CRefusal(L"the certificate's key cannot be read");
    if (m_rsa && m_length < 1024 / 8)
        throw CRefusal(L"the certificate's key is too short");
}

bool CPublicKey::Verify(const CDigestAlgorithm& digest, std::string_view signatureOid, CBytes hash,
                        CBytesView signature) const {
    const auto check = [&](void* padding, CBytesView bytes, ULONG flags) {
        return BCryptVerifySignature(m_key.Get(), padding, hash.data(), static_cast<ULONG>(hash.size()),
                                     const_cast<BYTE*>(bytes.data()), static_cast<ULONG>(bytes.size()), flags) == 0;
    };
    if (!m_rsa)
        return signatureOid == digest.ecdsaOid && check(nullptr, FlattenEcdsa(signature, m_length), 0);
    if (signatureOid != szOID_RSA_RSA && signatureOid != digest.rsaOid)
        return false;
    BCRYPT_PKCS1_PADDING_INFO padding{digest.name};
    // A signature is as long as the key; the system would fill up a shorter one.
    return signature.size() == m_length && check(&padding, signature, BCRYPT_PAD_PKCS1);
}
