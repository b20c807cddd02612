// Proves what is read of a certificate without its signature, and what outside it must not vary: CertificateFields.

#include "asn1/CertificateFields.h"

#include "DerWriter.h"
#include "common/SignerErrors.h"

#include <gtest/gtest.h>

#include <wincrypt.h>

namespace {
struct CParts {
    CBytes inner = DerSequence({DerOid(szOID_RSA_SHA256RSA), DerNull()});
    CBytes outer = DerSequence({DerOid(szOID_RSA_SHA256RSA), DerNull()});
    CBytes signature = DerElement(DerTag::BitString, {Bytes({0, 1, 2, 3})});
    CBytes behind{};

    CBytes Make() const {
        const CBytes version = DerElement(DerTag::Context(0), {DerInteger(2)});
        const CBytes issuer = DerSequence({Text(DerTag::PrintableString, "somebody")});
        return DerSequence({DerSequence({version, DerInteger(77), inner, issuer}), outer, signature, behind});
    }
};
} // namespace

TEST(CertificateFields, AreTheNumberTheIssuerAndTheAlgorithm) {
    const CBytes certificate = CParts().Make();
    const CCertificateFields fields = ParseCertificate(certificate);
    EXPECT_EQ(CBytes(fields.serial.begin(), fields.serial.end()), Bytes({77}));
    EXPECT_EQ(CBytes(fields.issuer.begin(), fields.issuer.end()),
              DerSequence({Text(DerTag::PrintableString, "somebody")}));
    EXPECT_EQ(fields.signatureOid, szOID_RSA_SHA256RSA);
}

TEST(CertificateFields, NothingThatTheSignatureDoesNotCoverMayVary) {
    const struct {
        const char* what;
        CParts parts;
    } rows[] = {
        {"another outer algorithm", {.outer = DerSequence({DerOid(szOID_RSA_SHA1RSA), DerNull()})}},
        {"the outer algorithm without its parameters", {.outer = DerSequence({DerOid(szOID_RSA_SHA256RSA)})}},
        {"unused bits", {.signature = DerElement(DerTag::BitString, {Bytes({1, 1, 2, 2})})}},
        {"no signature", {.signature = DerElement(DerTag::BitString, {})}},
        {"something behind", {.behind = DerNull()}},
    };
    for (const auto& [what, parts] : rows) {
        const CBytes certificate = parts.Make();
        EXPECT_THROW(ParseCertificate(certificate), CRefusal) << what;
    }
}
