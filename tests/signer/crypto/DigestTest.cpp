// Proves which digests are known, by their identifiers and by what they make of a text: Digest.

#include "crypto/Digest.h"

#include <gtest/gtest.h>

#include <wincrypt.h>

#include <string>

namespace {
std::string DigestOfAbc(const CDigestAlgorithm& algorithm) {
    const BYTE text[] = {'a', 'b', 'c'};
    std::string digits;
    for (const BYTE byte : ComputeDigest(algorithm, text)) {
        digits += "0123456789abcdef"[byte >> 4];
        digits += "0123456789abcdef"[byte & 15];
    }
    return digits;
}
} // namespace

TEST(Digest, EachIdentifierMeansItsOwnDigest) {
    // What the standard gives for these three letters.
    const struct {
        const char* digest;
        const char* rsa;
        const char* ecdsa;
        bool weak;
        const char* ofAbc;
    } rows[] = {
        {szOID_OIWSEC_sha1, szOID_RSA_SHA1RSA, "1.2.840.10045.4.1", true, "a9993e364706816aba3e25717850c26c9cd0d89d"},
        {szOID_NIST_sha256, szOID_RSA_SHA256RSA, "1.2.840.10045.4.3.2", false,
         "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {szOID_NIST_sha384, szOID_RSA_SHA384RSA, "1.2.840.10045.4.3.3", false,
         "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed"
         "8086072ba1e7cc2358baeca134c825a7"},
        {szOID_NIST_sha512, szOID_RSA_SHA512RSA, "1.2.840.10045.4.3.4", false,
         "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
         "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f"},
    };
    for (const auto& row : rows) {
        const CDigestAlgorithm* const found = FindDigest(row.digest);
        ASSERT_NE(found, nullptr) << row.digest;
        EXPECT_EQ(DigestOfAbc(*found), row.ofAbc);
        EXPECT_EQ(found->weak, row.weak) << row.digest;
        EXPECT_EQ(FindSignatureDigest(row.rsa), found);
        EXPECT_EQ(FindSignatureDigest(row.ecdsa), found);
    }
    for (const char* const unknown : {"", "1.2.3", szOID_RSA_MD5, szOID_RSA_RSA}) {
        EXPECT_EQ(FindDigest(unknown), nullptr);
        EXPECT_EQ(FindSignatureDigest(unknown), nullptr);
    }
}
