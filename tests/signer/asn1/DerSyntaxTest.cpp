// Proves which content each universal type of DER can have: DerSyntax.

#include "asn1/DerSyntax.h"

#include "DerWriter.h"
#include "common/SignerErrors.h"

#include <gtest/gtest.h>

namespace {
bool IsTaken(BYTE tag, const CBytes& content) {
    try {
        RequireContent(tag, content);
        return true;
    } catch (const CRefusal&) {
        return false;
    }
}
} // namespace

TEST(DerSyntax, BitsThatAreUnusedAreNoneOrSevenAtMostAndClear) {
    const struct {
        const char* what;
        CBytes content;
        bool taken;
    } rows[] = {
        {"no byte", {}, false},
        {"no bits", Bytes({0}), true},
        {"unused bits of no byte", Bytes({1}), false},
        {"whole bytes", Bytes({0, 0xFF}), true},
        {"one unused bit", Bytes({1, 0xFE}), true},
        {"one unused bit that is set", Bytes({1, 0xFF}), false},
        {"seven unused bits", Bytes({7, 0x80}), true},
        {"seven unused bits, the last but one of them set", Bytes({7, 0x82}), false},
        {"seven unused bits, the first of them set", Bytes({7, 0xC0}), false},
        {"eight unused bits", Bytes({8, 0x00}), false},
        {"unused bits of the last byte of two", Bytes({4, 0xFF, 0xF0}), true},
    };
    for (const auto& [what, content, taken] : rows)
        EXPECT_EQ(IsTaken(DerTag::BitString, content), taken) << what;
    const CBytes content = Bytes({3, 0x12, 0x38});
    EXPECT_EQ(ReadBits(content).unused, 3);
    EXPECT_EQ(ReadBits(content).bytes.size(), 2u);
}

TEST(DerSyntax, ATruthIsOneByteOfNoneOrAllBits) {
    EXPECT_TRUE(IsTaken(DerTag::Boolean, Bytes({0x00})));
    EXPECT_TRUE(IsTaken(DerTag::Boolean, Bytes({0xFF})));
    for (const CBytes& content : {CBytes(), Bytes({0x01}), Bytes({0xFF, 0xFF})})
        EXPECT_FALSE(IsTaken(DerTag::Boolean, content));
}

TEST(DerSyntax, ANumberHasItsShortestForm) {
    for (const CBytes& content :
         {Bytes({0x00}), Bytes({0x7F}), Bytes({0x80}), Bytes({0x00, 0x80}), Bytes({0xFF, 0x7F})})
        EXPECT_TRUE(IsTaken(DerTag::Integer, content));
    for (const CBytes& content : {CBytes(), Bytes({0x00, 0x7F}), Bytes({0xFF, 0x80}), Bytes({0x00, 0x00})})
        EXPECT_FALSE(IsTaken(DerTag::Integer, content));
}

TEST(DerSyntax, AnIdentifiersNumbersEndAndHaveNoZerosInFront) {
    for (const CBytes& content : {Bytes({0x2A}), Bytes({0x2A, 0x86, 0x48}), Bytes({0x2A, 0x81, 0x80, 0x01})})
        EXPECT_TRUE(IsTaken(DerTag::Oid, content));
    for (const CBytes& content : {CBytes(), Bytes({0x80, 0x01}), Bytes({0x2A, 0x80, 0x01}), Bytes({0x2A, 0x86})})
        EXPECT_FALSE(IsTaken(DerTag::Oid, content));
}

TEST(DerSyntax, TextsHaveTheCharactersOfTheirKind) {
    EXPECT_TRUE(IsTaken(DerTag::PrintableString, Bytes({0x7F})));
    EXPECT_FALSE(IsTaken(DerTag::PrintableString, Bytes({0x41, 0x80})));
    EXPECT_TRUE(IsTaken(DerTag::UniversalString, Bytes({0, 0, 0, 0x41})));
    EXPECT_FALSE(IsTaken(DerTag::UniversalString, Bytes({0, 0, 0, 0x41, 0, 0})));
    EXPECT_TRUE(IsTaken(DerTag::BmpString, Bytes({0, 0x41})));
    EXPECT_FALSE(IsTaken(DerTag::BmpString, Bytes({0, 0x41, 0})));
    EXPECT_TRUE(IsTaken(DerTag::Null, {}));
    EXPECT_FALSE(IsTaken(DerTag::Null, Bytes({0})));
}
