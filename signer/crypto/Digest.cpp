#include "crypto/Digest.h"

#include "common/CryptHandles.h"
#include "common/SignerErrors.h"

#include <algorithm>

namespace {

constexpr CDigestAlgorithm Algorithms[] = {
    {szOID_NIST_sha256, szOID_RSA_SHA256RSA, "1.2.840.10045.4.3.2", BCRYPT_SHA256_ALGORITHM, CALG_SHA_256, false},
    {szOID_NIST_sha384, szOID_RSA_SHA384RSA, "1.2.840.10045.4.3.3", BCRYPT_SHA384_ALGORITHM, CALG_SHA_384, false},
    {szOID_NIST_sha512, szOID_RSA_SHA512RSA, "1.2.840.10045.4.3.4", BCRYPT_SHA512_ALGORITHM, CALG_SHA_512, false},
    {szOID_OIWSEC_sha1, szOID_RSA_SHA1RSA, "1.2.840.10045.4.1", BCRYPT_SHA1_ALGORITHM, CALG_SHA1, true},
};

void CheckStatus(NTSTATUS status) {
    if (status < 0)
        ThrowSystemError(L"cannot compute a digest", HRESULT_FROM_NT(status));
}

template <class Predicate> const CDigestAlgorithm* Find(Predicate predicate) noexcept {
    const auto* const found = std::ranges::find_if(Algorithms, predicate);
    return found != std::end(Algorithms) ? found : nullptr;
}

} // namespace

constinit const CDigestAlgorithm Sha256 = Algorithms[0];

const CDigestAlgorithm* FindDigest(std::string_view oid) noexcept {
    return Find([oid](const CDigestAlgorithm& algorithm) { return oid == algorithm.oid; });
}

const CDigestAlgorithm* FindSignatureDigest(std::string_view signatureOid) noexcept {
    return Find([signatureOid](const CDigestAlgorithm& algorithm) {
        return signatureOid == algorithm.rsaOid || signatureOid == algorithm.ecdsaOid;
    });
}

CBytes ComputeDigest(const CDigestAlgorithm& algorithm, CBytesView bytes) {
    CUniqueAlgorithm provider;
    CheckStatus(BCryptOpenAlgorithmProvider(provider.Put(), algorithm.name, nullptr, 0));
    CUniqueHash hash;
    CheckStatus(BCryptCreateHash(provider.Get(), hash.Put(), nullptr, 0, nullptr, 0, 0));
    if (!bytes.empty())
        CheckStatus(BCryptHashData(hash.Get(), const_cast<BYTE*>(bytes.data()), static_cast<ULONG>(bytes.size()), 0));
    ULONG length = 0;
    ULONG written = 0;
    CheckStatus(BCryptGetProperty(hash.Get(), BCRYPT_HASH_LENGTH, reinterpret_cast<BYTE*>(&length), sizeof length,
                                  &written, 0));
    CBytes digest(length);
    CheckStatus(BCryptFinishHash(hash.Get(), digest.data(), length, 0));
    return digest;
}
