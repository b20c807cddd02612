#include "asn1/Der.h"
#include "cms/IndirectData.h"
#include "common/SignerErrors.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

CBytes Bytes(std::initializer_list<int> values) {
    CBytes bytes;
    for (const int value : values)
        bytes.push_back(static_cast<BYTE>(value));
    return bytes;
}

TEST(Der, LengthsAreWrittenInTheirShortestForm) {
    const struct {
        std::size_t content;
        CBytes header;
    } cases[] = {
        {0, Bytes({0x04, 0x00})},
        {127, Bytes({0x04, 0x7F})},
        {128, Bytes({0x04, 0x81, 0x80})},
        {255, Bytes({0x04, 0x81, 0xFF})},
        {256, Bytes({0x04, 0x82, 0x01, 0x00})},
        {65536, Bytes({0x04, 0x83, 0x01, 0x00, 0x00})},
    };
    for (const auto& [content, header] : cases) {
        const CBytes element = DerOctets(CBytes(content, BYTE{7}));
        EXPECT_EQ(header, CBytes(element.begin(), element.begin() + static_cast<std::ptrdiff_t>(header.size())));
        EXPECT_EQ(content, CDerReader(element).Read(DerTag::Octets).content.size());
    }
}

TEST(Der, IdentifiersAreReadBackAsTheyWereWritten) {
    for (const char* const oid :
         {"1.3.6.1.4.1.311.2.1.4", "2.16.840.1.101.3.4.2.1", "0.9.2342", "2.5.29.37", "2.999.3"}) {
        const CBytes bytes = DerOid(oid);
        EXPECT_EQ(oid, CDerReader(bytes).ReadOid());
    }
    EXPECT_EQ(Bytes({0x06, 0x06, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D}), DerOid("1.2.840.113549"));
}

TEST(Der, IntegersArePositive) {
    EXPECT_EQ(Bytes({0x02, 0x01, 0x00}), DerInteger(0));
    EXPECT_EQ(Bytes({0x02, 0x01, 0x7F}), DerInteger(127));
    EXPECT_EQ(Bytes({0x02, 0x02, 0x00, 0x80}), DerInteger(128));
    EXPECT_EQ(Bytes({0x02, 0x02, 0x01, 0x00}), DerInteger(256));
}

TEST(Der, TimesAreReadBackAsTheyWereWritten) {
    for (const WORD year : {WORD{1950}, WORD{2026}, WORD{2049}, WORD{2050}, WORD{2120}}) {
        const SYSTEMTIME parts{year, 2, 0, 28, 23, 59, 58, 0};
        FILETIME time{};
        ASSERT_TRUE(SystemTimeToFileTime(&parts, &time));
        const CBytes bytes = DerTime(time);
        EXPECT_EQ(year < 2050 ? DerTag::UtcTime : DerTag::GeneralizedTime, bytes.front());
        const FILETIME back = CDerReader(bytes).ReadTime();
        EXPECT_EQ(0, CompareFileTime(&time, &back)) << year;
    }
}

TEST(Der, ElementsOfASetAreSorted) {
    EXPECT_EQ(Bytes({0x31, 0x06, 0x02, 0x01, 0x01, 0x02, 0x01, 0x02}), DerSetOf({DerInteger(2), DerInteger(1)}));
}

TEST(Der, AnotherSpellingOrABrokenOneIsRefused) {
    using Read = std::function<void(CDerReader&)>;
    const Read any = [](CDerReader& reader) { reader.ReadAny(); };
    const Read oid = [](CDerReader& reader) { reader.ReadOid(); };
    const Read time = [](CDerReader& reader) { reader.ReadTime(); };
    const Read algorithm = [](CDerReader& reader) { reader.ReadAlgorithm(); };
    const Read number = [](CDerReader& reader) { reader.ReadSmallInteger(); };
    // A length of 128 bytes, which are there.
    const auto ofLength = [](std::initializer_list<int> header) {
        CBytes bytes = Bytes(header);
        bytes.insert(bytes.end(), 0x80, BYTE{7});
        return bytes;
    };
    ASSERT_NO_THROW(CDerReader(ofLength({0x04, 0x81, 0x80})).ReadAny());
    const auto text = [](BYTE tag, std::string_view value) {
        return DerElement(tag, {CBytesView(reinterpret_cast<const BYTE*>(value.data()), value.size())});
    };
    const struct {
        const char* what;
        CBytes bytes;
        Read read;
    } cases[] = {
        {"nothing", {}, any},
        {"a tag alone", Bytes({0x30}), any},
        {"a tag of several bytes", Bytes({0x1F, 0x01, 0x00}), any},
        {"content cut off", Bytes({0x04, 0x02, 0x00}), any},
        {"length cut off", Bytes({0x04, 0x82, 0x01}), any},
        {"indefinite length", Bytes({0x30, 0x80, 0x00, 0x00}), any},
        {"long form for a short length", Bytes({0x04, 0x81, 0x01, 0x00}), any},
        {"length with a leading zero", ofLength({0x04, 0x82, 0x00, 0x80}), any},
        {"length with three leading zeros", ofLength({0x04, 0x84, 0x00, 0x00, 0x00, 0x80}), any},
        {"length of five bytes", ofLength({0x04, 0x85, 0x01, 0x00, 0x00, 0x00, 0x80}), any},
        {"length far beyond the end", Bytes({0x04, 0x84, 0xFF, 0xFF, 0xFF, 0xFF, 0x00}), any},
        {"empty identifier", Bytes({0x06, 0x00}), oid},
        {"identifier that does not end", Bytes({0x06, 0x02, 0x2A, 0x86}), oid},
        {"identifier with a leading zero", Bytes({0x06, 0x03, 0x2A, 0x80, 0x01}), oid},
        {"identifier beyond 64 bits",
         Bytes({0x06, 0x0B, 0x2A, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F}), oid},
        {"another tag", Bytes({0x04, 0x01, 0x2A}), oid},
        {"parameters other than NULL", DerSequence({DerOid("1.2.3"), DerInteger(1)}), algorithm},
        {"a NULL that is not empty", DerSequence({DerOid("1.2.3"), Bytes({0x05, 0x01, 0x00})}), algorithm},
        {"something after NULL", DerSequence({DerOid("1.2.3"), DerNull(), DerNull()}), algorithm},
        {"negative number", Bytes({0x02, 0x01, 0xFF}), number},
        {"number of two bytes", Bytes({0x02, 0x02, 0x01, 0x00}), number},
        {"time without seconds", text(DerTag::UtcTime, "2602282359Z"), time},
        {"time in another zone", text(DerTag::UtcTime, "260228235958+0100"), time},
        {"the 30th of February", text(DerTag::UtcTime, "260230235958Z"), time},
        {"letters for digits", text(DerTag::GeneralizedTime, "2026O228235958Z"), time},
        {"fraction without digits", text(DerTag::GeneralizedTime, "20260228235958.Z"), time},
        {"time as a string", text(0x13, "260228235958Z"), time},
    };
    for (const auto& [what, bytes, read] : cases) {
        CDerReader reader(bytes);
        EXPECT_THROW(read(reader), CRefusal) << what;
    }
}

TEST(Der, FractionsOfASecondAreSkipped) {
    const std::string_view text = "20260228235958.25Z";
    const CBytes bytes =
        DerElement(DerTag::GeneralizedTime, {CBytesView(reinterpret_cast<const BYTE*>(text.data()), text.size())});
    const FILETIME time = CDerReader(bytes).ReadTime();
    SYSTEMTIME parts{};
    FileTimeToSystemTime(&time, &parts);
    EXPECT_EQ(58, parts.wSecond);
}

TEST(IndirectData, IsReadBackAsItWasWritten) {
    for (const ScriptKind kind : {ScriptKind::VBScript, ScriptKind::JScript}) {
        const CBytes bytes = FormatIndirectData(kind, {&Sha256, CBytes(32, BYTE{9})});
        const CIndirectData data = ParseIndirectData(kind, bytes);
        EXPECT_STREQ(Sha256.oid, data.algorithm->oid);
        EXPECT_EQ(CBytes(32, BYTE{9}), data.digest);
    }
}

TEST(IndirectData, TheDigestIsOverTheTextAsUtf16WithoutAMark) {
    const CBytes text = Bytes({'a', 0, 0xE4, 0});
    EXPECT_EQ(ComputeDigest(Sha256, text), ComputeScriptDigest(Sha256, L"a\x00E4"));
    EXPECT_EQ(ComputeDigest(Sha256, text), ComputeScriptDigest(Sha256, L"\xFEFF"
                                                                       L"a\x00E4"));
    const CBytes empty = ComputeScriptDigest(Sha256, L"");
    EXPECT_EQ(Bytes({0xE3, 0xB0, 0xC4, 0x42}), CBytes(empty.begin(), empty.begin() + 4));
}

std::wstring ReasonAgainst(ScriptKind kind, const CBytes& bytes) {
    try {
        ParseIndirectData(kind, bytes);
        return L"accepted";
    } catch (const CRefusal& refusal) {
        return refusal.Reason();
    }
}

TEST(IndirectData, IsForOneLanguageOnly) {
    const std::wstring refused = L"the signature was made for a script in the other language";
    const CBytes digest = CBytes(32, BYTE{9});
    const CBytes visualBasic = FormatIndirectData(ScriptKind::VBScript, {&Sha256, digest});
    const CBytes javaScript = FormatIndirectData(ScriptKind::JScript, {&Sha256, digest});
    EXPECT_EQ(L"accepted", ReasonAgainst(ScriptKind::VBScript, visualBasic));
    EXPECT_EQ(L"accepted", ReasonAgainst(ScriptKind::JScript, javaScript));
    EXPECT_EQ(refused, ReasonAgainst(ScriptKind::JScript, visualBasic));
    EXPECT_EQ(refused, ReasonAgainst(ScriptKind::VBScript, javaScript));
}

TEST(IndirectData, AnythingElseIsRefused) {
    const std::wstring malformed = L"the signature block does not hold a well-formed signature";
    const std::wstring noScript = L"the signature was made for something else than a script";
    const char* const sipInfo = "1.3.6.1.4.1.311.2.1.30";
    const CBytes zero = DerInteger(0);
    const CBytes version = DerInteger(0x10000);
    const CBytes package = DerOctets(
        Bytes({0x4E, 0xF0, 0x29, 0x16, 0x99, 0x27, 0xB5, 0x4D, 0x8F, 0xE5, 0xAC, 0xE1, 0x0F, 0x17, 0xEB, 0xAB}));
    const auto subject = [](const char* oid, const CBytes& value) { return DerSequence({DerOid(oid), value}); };
    const CBytes script = subject(sipInfo, DerSequence({version, package, zero, zero, zero, zero, zero}));
    const CBytes digest = DerSequence({DerAlgorithm(Sha256.oid), DerOctets(CBytes(32))});
    const struct {
        const char* what;
        CBytes bytes;
        std::wstring reason;
    } cases[] = {
        {"another tool's version", DerSequence({script, digest}), L"accepted"},
        {"nothing", {}, malformed},
        {"an empty sequence", DerSequence({}), malformed},
        {"no digest", DerSequence({script}), malformed},
        {"something after the digest", DerSequence({script, digest, DerNull()}), malformed},
        {"another digest",
         DerSequence({script, DerSequence({DerAlgorithm("1.2.840.113549.2.5"), DerOctets(CBytes(16))})}),
         L"the script's digest is of an unknown kind"},
        {"something after the digest's value",
         DerSequence({script, DerSequence({DerAlgorithm(Sha256.oid), DerOctets(CBytes(32)), DerNull()})}), malformed},
        {"no subject", DerSequence({DerSequence({DerOid(sipInfo)}), digest}), malformed},
        {"a program", DerSequence({subject("1.3.6.1.4.1.311.2.1.15", DerSequence({})), digest}), noScript},
        {"another package",
         DerSequence(
             {subject(sipInfo, DerSequence({version, DerOctets(CBytes(16)), zero, zero, zero, zero, zero})), digest}),
         noScript},
        {"half a package",
         DerSequence(
             {subject(sipInfo, DerSequence({version, DerOctets(CBytes(8)), zero, zero, zero, zero, zero})), digest}),
         noScript},
        {"a field too few",
         DerSequence({subject(sipInfo, DerSequence({version, package, zero, zero, zero, zero})), digest}), malformed},
        {"a field too many",
         DerSequence({subject(sipInfo, DerSequence({version, package, zero, zero, zero, zero, zero, zero})), digest}),
         malformed},
    };
    for (const auto& [what, bytes, reason] : cases)
        EXPECT_EQ(reason, ReasonAgainst(ScriptKind::VBScript, bytes)) << what;
}

} // namespace
