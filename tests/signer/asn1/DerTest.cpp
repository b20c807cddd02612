// Proves that DER is written in its one spelling and read in no other: Der.

#include "asn1/Der.h"
#include "common/SignerErrors.h"
#include "DerWriter.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

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
        {"time without seconds", Text(DerTag::UtcTime, "2602282359Z"), time},
        {"time in another zone", Text(DerTag::UtcTime, "260228235958+0100"), time},
        {"the 30th of February", Text(DerTag::UtcTime, "260230235958Z"), time},
        {"letters for digits", Text(DerTag::GeneralizedTime, "2026O228235958Z"), time},
        {"fraction without digits", Text(DerTag::GeneralizedTime, "20260228235958.Z"), time},
        {"time as a string", Text(0x13, "260228235958Z"), time},
    };
    for (const auto& [what, bytes, read] : cases) {
        CDerReader reader(bytes);
        EXPECT_THROW(read(reader), CRefusal) << what;
    }
}

TEST(Der, FractionsOfASecondAreSkipped) {
    const CBytes bytes = Text(DerTag::GeneralizedTime, "20260228235958.25Z");
    const FILETIME time = CDerReader(bytes).ReadTime();
    SYSTEMTIME parts{};
    FileTimeToSystemTime(&time, &parts);
    EXPECT_EQ(58, parts.wSecond);
}

} // namespace
