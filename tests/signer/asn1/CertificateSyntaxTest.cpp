// Proves that certificates which are put into a signature block to hurt whoever decodes them are refused first:
// CertificateSyntax, ExtensionSyntax, NameSyntax, DerSyntax.

#include "asn1/CertificateSyntax.h"
#include "asn1/DerSyntax.h"
#include "common/SignerErrors.h"
#include "DerWriter.h"
#include "ScriptVerifier.h"
#include "SignedDataEditor.h"
#include "TestAuthority.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

namespace {

constexpr wchar_t Script[] = L"x = 1\r\n";

CCertificateParts PublisherParts() {
    return CCertificateParts(EncodedBytes(Authority().Publisher()));
}

CCertificateParts WithExtension(const char* oid, const CBytes& value) {
    CCertificateParts parts = PublisherParts();
    parts.ReplaceExtension(oid, value);
    return parts;
}

bool IsWellFormed(const CBytes& certificate) {
    try {
        RequireWellFormedCertificate(certificate);
        return true;
    } catch (const CRefusal&) {
        return false;
    }
}

std::wstring ReasonAgainst(const CSignedDataParts& parts) {
    static const std::wstring text = SignWith(Authority().Publisher(), Script);
    const CVerification verification =
        CScriptVerifier().VerifyText(ScriptKind::VBScript, WithSignature(text, parts.Join()));
    return verification.accepted ? L"accepted" : verification.reason;
}

CSignedDataParts SignedParts() {
    static const CBytes signature = SignatureOf(SignWith(Authority().Publisher(), Script));
    return CSignedDataParts(signature);
}

/// A script whose signer has this certificate.
CSignedDataParts SignedBy(const CBytes& certificate) {
    CSignedDataParts parts = SignedParts();
    parts.certificates = DerSetOf({certificate}, DerTag::Context(0));
    return parts;
}

/// A good script with one certificate more.
CSignedDataParts SignedBeside(const CBytes& certificate) {
    CSignedDataParts parts = SignedParts();
    parts.AddCertificate(certificate);
    return parts;
}

TEST(CertificateSyntax, AKeyUsageThatClaimsBitsWhichItHasNotIsRefusedBeforeItIsDecoded) {
    const std::wstring refused = L"the signature block does not hold a well-formed signature";
    const auto with = [](const CBytes& usage) { return WithExtension(szOID_KEY_USAGE, usage); };
    const CBytes good = Bytes({0x03, 0x02, 0x07, 0x80});
    for (const CBytes& usage :
         {Bytes({0x03, 0x01, 0xC7}), Bytes({0x03, 0x01, 0x07}), Bytes({0x03, 0x01, 0x00}), Bytes({0x03, 0x00}),
          Bytes({0x03, 0x02, 0x08, 0x80}), Bytes({0x03, 0x02, 0x08, 0x00}), Bytes({0x03, 0x02, 0xFF, 0x80})}) {
        CCertificateParts spare = with(usage);
        spare.serial = DerInteger(7);
        EXPECT_EQ(refused, ReasonAgainst(SignedBy(with(usage).Join(Authority().RootKey()))))
            << testing::PrintToString(usage);
        EXPECT_EQ(refused, ReasonAgainst(SignedBeside(spare.Join(Authority().RootKey()))))
            << testing::PrintToString(usage);
    }
    CCertificateParts spare = with(good);
    spare.serial = DerInteger(7);
    EXPECT_EQ(L"its publisher is not one of this machine's trusted publishers",
              ReasonAgainst(SignedBy(with(good).Join(Authority().RootKey()))));
    EXPECT_EQ(L"accepted", ReasonAgainst(SignedBeside(spare.Join(Authority().RootKey()))));
}

/// Good values of everything that the platform knows, and of something that nobody knows.
struct CExtensionValues {
    const char* oid;
    std::vector<CBytes> good;
    std::vector<CBytes> bad;
};

std::vector<CExtensionValues> ExtensionValues() {
    const CBytes oid = DerOid("1.2.3.4");
    // An arc that is a whole GUID.
    const CBytes longOid = Bytes({0x06, 0x14, 0x69, 0x83, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                  0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F});
    const CBytes badOid = Bytes({0x06, 0x02, 0x2A, 0x86});
    const CBytes empty = DerSequence({});
    const CBytes mail = Text(DerTag::ContextValue(1), "a@example.com");
    const CBytes url = Text(DerTag::ContextValue(6), "http://example.com/a.crl");
    const CBytes badUrl = Text(DerTag::ContextValue(6), "http://\xFF/");
    const CBytes address = Text(DerTag::ContextValue(7), "\x7F\x01\x01\x01");
    const CBytes registered = Bytes({0x88, 0x01, 0x2A});
    const CBytes other = DerElement(DerTag::Context(0), {oid, DerElement(DerTag::Context(0), {Text(0x0C, "x")})});
    const CBytes name = DerSequence(
        {DerElement(DerTag::Set, {DerSequence({DerOid(szOID_COMMON_NAME), Text(DerTag::PrintableString, "A")})})});
    const CBytes numberName =
        DerSequence({DerElement(DerTag::Set, {DerSequence({DerOid(szOID_RSA_emailAddr), DerInteger(1)})})});
    const CBytes directory = DerElement(DerTag::Context(4), {name});
    const CBytes badDirectory = DerElement(DerTag::Context(4), {numberName});
    const CBytes names = DerSequence({mail, Text(DerTag::ContextValue(2), "example.com"), url, address, registered,
                                      other, directory, DerElement(DerTag::Context(5), {oid})});
    const std::vector<CBytes> badNames{empty,
                                       DerSequence({badUrl}),
                                       DerSequence({badDirectory}),
                                       DerSequence({oid}),
                                       DerSequence({Bytes({0x88, 0x00})}),
                                       DerSequence({Bytes({0xA0, 0x00})}),
                                       mail,
                                       DerSequence({Bytes({0xA4, 0x00})})};
    const CBytes fullName = DerElement(DerTag::Context(0), {DerElement(DerTag::Context(0), {url})});
    const CBytes noName = DerElement(DerTag::Context(0), {DerElement(DerTag::Context(0), {})});
    const CBytes reasons = Bytes({0x81, 0x02, 0x01, 0x06});
    const CBytes badReasons = Bytes({0x81, 0x01, 0xC7});
    const CBytes point = DerSequence({fullName, reasons, DerElement(DerTag::Context(2), {directory})});
    const CBytes key = Bytes({0x80, 0x02, 0x01, 0x02});
    const CBytes number = Bytes({0x82, 0x01, 0x01});
    const CBytes noNumber = Bytes({0x82, 0x00});
    const CBytes policy =
        DerSequence({oid, DerSequence({DerSequence({DerOid("1.3.6.1.5.5.7.2.1"), Text(DerTag::Ia5String, "http://x/")}),
                                       DerSequence({DerOid("1.3.6.1.5.5.7.2.2"), empty})})});
    const CBytes tree = DerSequence({mail, Bytes({0x80, 0x01, 0x00}), Bytes({0x81, 0x01, 0x05})});
    const CBytes badTree = DerSequence({mail, Bytes({0x80, 0x00})});
    const CBytes cut = Bytes({0x30, 0x05, 0x02});
    std::vector<CExtensionValues> values{
        {szOID_KEY_USAGE, {Bytes({0x03, 0x02, 0x07, 0x80}), Bytes({0x03, 0x03, 0x07, 0x80, 0x80})}, {DerInteger(1)}},
        {szOID_BASIC_CONSTRAINTS,
         {DerSequence({Bytes({0x03, 0x02, 0x06, 0x40})})},
         {DerSequence({Bytes({0x03, 0x01, 0x00})})}},
        {szOID_BASIC_CONSTRAINTS2,
         {empty, DerSequence({Bytes({0x01, 0x01, 0xFF})}), DerSequence({Bytes({0x01, 0x01, 0x00}), DerInteger(3)}),
          DerSequence({DerInteger(0)})},
         {DerSequence({Bytes({0x01, 0x00})}), DerSequence({Bytes({0x01, 0x01, 0x55})}),
          DerSequence({Bytes({0x02, 0x00})}), DerSequence({DerInteger(1), DerInteger(1)})}},
        {szOID_AUTHORITY_KEY_IDENTIFIER,
         {empty, DerSequence({key, DerElement(DerTag::Context(1), {name}), number})},
         {DerSequence({noNumber}), DerSequence({DerElement(DerTag::Context(1), {cut})})}},
        {szOID_AUTHORITY_KEY_IDENTIFIER2,
         {empty, DerSequence({key}), DerSequence({key, DerElement(DerTag::Context(1), {directory}), number})},
         {DerSequence({noNumber}), DerSequence({DerElement(DerTag::Context(1), {})}), DerSequence({number, key})}},
        {szOID_SUBJECT_KEY_IDENTIFIER, {DerOctets(CBytes(20))}, {DerInteger(1)}},
        {szOID_ENHANCED_KEY_USAGE,
         {DerSequence({oid, longOid})},
         {empty, DerSequence({badOid}), DerSequence({DerNull()})}},
        {szOID_POLICY_MAPPINGS,
         {DerSequence({DerSequence({oid, oid})})},
         {empty, DerSequence({DerSequence({oid})}), DerSequence({DerSequence({oid, oid, oid})})}},
        {szOID_POLICY_CONSTRAINTS,
         {empty, DerSequence({Bytes({0x80, 0x01, 0x00}), Bytes({0x81, 0x01, 0x00})})},
         {DerSequence({Bytes({0x80, 0x00})}), DerSequence({Bytes({0x81, 0x02, 0x00, 0x01})})}},
        {szOID_INHIBIT_ANY_POLICY, {DerInteger(2)}, {Bytes({0x02, 0x00}), empty}},
        {szOID_NAME_CONSTRAINTS,
         {DerSequence({DerElement(DerTag::Context(0), {tree})}),
          DerSequence({DerElement(DerTag::Context(0), {tree, tree}), DerElement(DerTag::Context(1), {tree})})},
         {DerSequence({DerElement(DerTag::Context(0), {})}), DerSequence({DerElement(DerTag::Context(1), {badTree})})}},
        {szOID_PRIVATEKEY_USAGE_PERIOD,
         {DerSequence({Text(DerTag::ContextValue(0), "20260228235958Z")})},
         {DerSequence({Text(DerTag::ContextValue(0), "20260230235958Z")}), DerSequence({Bytes({0x81, 0x00})})}},
        {"1.2.3.4.5",
         {DerNull(), DerOctets({}), DerSequence({Text(DerTag::BmpString, std::string_view("\0x", 2)), key})},
         {Bytes({0x05, 0x01, 0x00}), Bytes({0x03, 0x01, 0xC7}), Text(DerTag::BmpString, "x"),
          DerSequence({DerElement(DerTag::Context(1), {cut})}), Bytes({0x24, 0x00}), Bytes({0x00, 0x00}),
          DerElement(DerTag::UniversalString, {CBytes(3)}), Text(DerTag::Ia5String, "\xE4"), Bytes({0x30})}},
    };
    for (const char* const list : {szOID_CRL_DIST_POINTS, szOID_FRESHEST_CRL})
        values.push_back({list,
                          {DerSequence({point, DerSequence({fullName})})},
                          {empty, DerSequence({DerSequence({noName})}), DerSequence({DerSequence({badReasons})}),
                           DerSequence({DerSequence({reasons, fullName})})}});
    for (const char* const access : {szOID_AUTHORITY_INFO_ACCESS, szOID_SUBJECT_INFO_ACCESS})
        values.push_back({access,
                          {DerSequence({DerSequence({oid, url}), DerSequence({oid, directory})})},
                          {empty, DerSequence({DerSequence({oid})}), DerSequence({DerSequence({oid, badUrl})}),
                           DerSequence({DerSequence({oid, url, url})})}});
    for (const char* const policies : {szOID_CERT_POLICIES, szOID_APPLICATION_CERT_POLICIES})
        values.push_back({policies,
                          {DerSequence({policy, DerSequence({oid})})},
                          {empty, DerSequence({DerSequence({badOid})}), DerSequence({DerSequence({oid, oid})}),
                           DerSequence({DerSequence({oid, DerSequence({DerSequence({oid, cut})})})})}});
    for (const char* const alternative :
         {szOID_SUBJECT_ALT_NAME, szOID_SUBJECT_ALT_NAME2, szOID_ISSUER_ALT_NAME, szOID_ISSUER_ALT_NAME2})
        values.push_back({alternative, {names}, badNames});
    return values;
}

TEST(CertificateSyntax, EachExtensionTakesWhatIsRightForItAndNothingElse) {
    for (const CExtensionValues& extension : ExtensionValues()) {
        for (const CBytes& value : extension.good)
            EXPECT_TRUE(IsWellFormed(WithExtension(extension.oid, value).Join(Authority().RootKey())))
                << extension.oid << " " << testing::PrintToString(value);
        std::vector<CBytes> bad = extension.bad;
        for (CBytes value : extension.good) {
            value.push_back(0);
            bad.push_back(value);
            value.resize(value.size() - 2);
            bad.push_back(value);
        }
        bad.emplace_back();
        for (const CBytes& value : bad)
            EXPECT_FALSE(IsWellFormed(WithExtension(extension.oid, value).Join(Authority().RootKey())))
                << extension.oid << " " << testing::PrintToString(value);
    }
}

TEST(CertificateSyntax, OneExtensionTwiceIsRefused) {
    CCertificateParts parts = PublisherParts();
    parts.extensions.push_back(parts.extensions.front());
    EXPECT_FALSE(IsWellFormed(parts.Join(Authority().RootKey())));
    EXPECT_TRUE(IsWellFormed(PublisherParts().Join(Authority().RootKey())));
}

TEST(CertificateSyntax, EachFieldTakesWhatIsRightForItAndNothingElse) {
    using Parts = CCertificateParts;
    const auto validity = [](const CBytes& until) {
        return DerSequence({Text(DerTag::UtcTime, "260228235958Z"), until});
    };
    const auto name = [](const CBytes& oid, const CBytes& value) {
        return DerSequence({DerElement(DerTag::Set, {DerSequence({oid, value})})});
    };
    const CBytes commonName = DerOid(szOID_COMMON_NAME);
    const auto key = [](const char* oid, const CBytes& parameters, const CBytes& bits) {
        return DerSequence({DerSequence({DerOid(oid), parameters}), DerElement(DerTag::BitString, {bits})});
    };
    const CBytes numbers = DerSequence({DerInteger(0x7FFFFFFF), DerInteger(3)});
    const auto withUnused = [](int unused, CBytesView bytes) {
        CBytes bits{static_cast<BYTE>(unused)};
        bits.insert(bits.end(), bytes.begin(), bytes.end());
        return bits;
    };
    const auto point = [](std::size_t length, BYTE form) {
        CBytes bits(length + 2, BYTE{1});
        bits[0] = 0;
        bits[1] = form;
        return bits;
    };
    const CBytes p256 = DerOid(szOID_ECC_CURVE_P256);
    const struct {
        const char* what;
        bool good;
        CBytes Parts::*field;
        CBytes value;
    } cases[] = {
        {"version 3", true, &Parts::version, DerElement(DerTag::Context(0), {DerInteger(2)})},
        {"version 4", false, &Parts::version, DerElement(DerTag::Context(0), {DerInteger(3)})},
        {"extensions in version 1", false, &Parts::version, {}},
        {"version without a number", false, &Parts::version, DerElement(DerTag::Context(0), {})},
        {"negative number", true, &Parts::serial, Bytes({0x02, 0x01, 0xFF})},
        {"empty number", false, &Parts::serial, Bytes({0x02, 0x00})},
        {"number with a leading zero", false, &Parts::serial, Bytes({0x02, 0x02, 0x00, 0x01})},
        {"number with a leading one", false, &Parts::serial, Bytes({0x02, 0x02, 0xFF, 0x80})},
        {"algorithm without parameters", true, &Parts::algorithm, DerSequence({DerOid(szOID_RSA_SHA256RSA)})},
        {"algorithm with two parameters", false, &Parts::algorithm,
         DerSequence({DerOid(szOID_RSA_SHA256RSA), DerNull(), DerNull()})},
        {"empty algorithm", false, &Parts::algorithm, DerSequence({})},
        {"empty name", true, &Parts::subject, DerSequence({})},
        {"name of an empty part", false, &Parts::subject, DerSequence({DerElement(DerTag::Set, {})})},
        {"name as a teletex string", true, &Parts::subject, name(commonName, Text(DerTag::TeletexString, "\xE4"))},
        {"name that is a number", false, &Parts::subject, name(commonName, DerInteger(1))},
        {"name of half a character", false, &Parts::issuer, name(commonName, Text(DerTag::BmpString, "abc"))},
        {"name of nothing", false, &Parts::issuer, name(commonName, {})},
        {"name of no kind", false, &Parts::issuer, name(DerNull(), Text(DerTag::PrintableString, "x"))},
        {"name of two values", false, &Parts::subject,
         DerSequence({DerElement(DerTag::Set, {DerSequence({commonName, Text(DerTag::PrintableString, "x"),
                                                            Text(DerTag::PrintableString, "y")})})})},
        {"ends in 2120", true, &Parts::validity, validity(Text(DerTag::GeneralizedTime, "21200228235958Z"))},
        {"ends on the 30th of February", false, &Parts::validity, validity(Text(DerTag::UtcTime, "260230235958Z"))},
        {"ends with a fraction", false, &Parts::validity, validity(Text(DerTag::GeneralizedTime, "20260228235958.5Z"))},
        {"ends in another zone", false, &Parts::validity, validity(Text(DerTag::UtcTime, "260228235958+0100"))},
        {"never ends", false, &Parts::validity, DerSequence({Text(DerTag::UtcTime, "260228235958Z")})},
        {"RSA", true, &Parts::key, key(szOID_RSA_RSA, DerNull(), withUnused(0, numbers))},
        {"RSA with parameters", false, &Parts::key, key(szOID_RSA_RSA, p256, withUnused(0, numbers))},
        {"RSA with unused bits", false, &Parts::key, key(szOID_RSA_RSA, DerNull(), withUnused(1, numbers))},
        {"RSA with something behind it", false, &Parts::key,
         DerSequence({DerSequence({DerOid(szOID_RSA_RSA), DerNull()}),
                      DerElement(DerTag::BitString, {withUnused(0, numbers)}), DerNull()})},
        {"RSA with nothing", false, &Parts::key, key(szOID_RSA_RSA, DerNull(), Bytes({0}))},
        {"RSA with one number", false, &Parts::key,
         key(szOID_RSA_RSA, DerNull(), withUnused(0, DerSequence({DerInteger(7)})))},
        {"RSA with zero", false, &Parts::key,
         key(szOID_RSA_RSA, DerNull(), withUnused(0, DerSequence({DerInteger(0), DerInteger(3)})))},
        {"RSA with a negative number", false, &Parts::key,
         key(szOID_RSA_RSA, DerNull(), withUnused(0, DerSequence({Bytes({0x02, 0x01, 0x80}), DerInteger(3)})))},
        {"P-256", true, &Parts::key, key(szOID_ECC_PUBLIC_KEY, p256, point(64, 4))},
        {"P-521", true, &Parts::key, key(szOID_ECC_PUBLIC_KEY, DerOid(szOID_ECC_CURVE_P521), point(132, 4))},
        {"P-256, too short", false, &Parts::key, key(szOID_ECC_PUBLIC_KEY, p256, point(63, 4))},
        {"P-256, compressed", false, &Parts::key, key(szOID_ECC_PUBLIC_KEY, p256, point(32, 2))},
        {"a curve of its own", false, &Parts::key, key(szOID_ECC_PUBLIC_KEY, DerSequence({}), point(64, 4))},
        {"another curve", false, &Parts::key, key(szOID_ECC_PUBLIC_KEY, DerOid("1.3.132.0.10"), point(64, 4))},
        {"DSA", false, &Parts::key, key(szOID_X957_DSA, DerNull(), withUnused(0, DerInteger(7)))},
    };
    for (const auto& [what, good, field, value] : cases) {
        CCertificateParts parts = PublisherParts();
        parts.*field = value;
        EXPECT_EQ(good, IsWellFormed(parts.Join(Authority().RootKey()))) << what;
    }
}

TEST(CertificateSyntax, NestingIsFollowedSixteenLevelsDeep) {
    const auto nested = [](int levels) {
        CBytes bytes = DerNull();
        for (; levels > 0; --levels)
            bytes = DerSequence({bytes});
        return bytes;
    };
    EXPECT_NO_THROW(RequireElements(nested(DeepestNesting)));
    EXPECT_THROW(RequireElements(nested(DeepestNesting + 1)), CRefusal);
    EXPECT_THROW(RequireElements(nested(3'000)), CRefusal);
    EXPECT_FALSE(IsWellFormed(WithExtension("1.2.3.4.5", nested(3'000)).Join(Authority().RootKey())));
}

/// Whatever the value of an extension becomes, the verification comes to its end; so does the chain above a name that
/// is constrained. Most of it is refused here; what is not must be safe with the platform.
TEST(CertificateSyntax, ChangedExtensionsOfAnAuthorityAndItsSubjectEndNothing) {
    const char* const given = std::getenv("SIGNER_SEED");
    const auto seed = given != nullptr ? std::strtoul(given, nullptr, 10) : GetTickCount();
    std::mt19937 random(seed);
    const int rounds = std::getenv("SIGNER_SOAK") != nullptr ? 400 : 8;
    const std::vector<CExtensionValues> values = ExtensionValues();
    const auto valueOf = [&](const CExtensionValues& extension) {
        CBytes value = extension.good[random() % extension.good.size()];
        for (auto changes = random() % 3; changes > 0 && !value.empty(); --changes)
            value[random() % value.size()] = static_cast<BYTE>(random());
        return value;
    };
    const CUniqueCertificate middle = Authority().IssueAuthority(L"CN=Middle");
    std::size_t wellFormed = 0;
    std::size_t all = 0;
    for (int round = 0; round < rounds; ++round) {
        for (const CExtensionValues& above : values) {
            CCertificateParts authority(EncodedBytes(middle.Get()));
            const CExtensionValues& below = values[random() % values.size()];
            CCertificateParts subject = PublisherParts();
            authority.ReplaceExtension(above.oid, valueOf(above));
            subject.issuer = authority.subject;
            if (below.oid != std::string_view(szOID_ENHANCED_KEY_USAGE))
                subject.ReplaceExtension(below.oid, valueOf(below));
            CSignedDataParts parts = SignedParts();
            const CBytes upper = authority.Join(Authority().RootKey());
            const CBytes lower = subject.Join(Authority().RootKey());
            parts.certificates = DerSetOf({lower, upper}, DerTag::Context(0));
            parts.signerName = DerSequence({subject.issuer, subject.serial});
            ++all;
            if (IsWellFormed(upper) && IsWellFormed(lower))
                ++wellFormed;
            ASSERT_NE(L"accepted", ReasonAgainst(parts)) << "SIGNER_SEED=" << seed;
        }
    }
    printf("%zu chains with changed extensions, %zu of them well-formed, seed %lu\n", all, wellFormed, seed);
    EXPECT_LT(all / 20, wellFormed);
}

} // namespace
