// Where in a text its values stand, and which keys stand twice. Proves JsonLines.

#include "JsonLines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

TEST(JsonLines, EachKeyAndElementHasItsLine) {
    const CJsonLines lines("{\n \"a\": [\n  1,\n  {\"b\": true,\n   \"c\": {}},\n  \"x\"\n ]\n}");
    const struct {
        const char* path;
        std::size_t line;
    } cases[] = {{"/a", 2},   {"/a/1", 4},      {"/a/1/b", 4}, {"/a/1/c", 5}, {"/a/2", 6},
                 {"/a/9", 2}, {"/a/1/none", 4}, {"/none", 1},  {"", 1}};
    for (const auto& [path, line] : cases)
        EXPECT_EQ(lines.LineOf(path), line) << path;
    EXPECT_TRUE(lines.Duplicates().empty());
}

TEST(JsonLines, AKeyThatIsThereTwiceIsToldWithThePlaceOfTheSecond) {
    const CJsonLines lines("{\"a\": 1,\n\"b\": [{\"c\": 1,\n\n\"c\": 2}, {\"c\": 3}],\n\"a\": 2}");
    EXPECT_THAT(lines.Duplicates(), testing::ElementsAre(testing::Pair("/b/0/c", 4), testing::Pair("/a", 5)));
}

TEST(JsonLines, OfATextThatIsNoJsonWhatComesBeforeTheFaultIsKnown) {
    EXPECT_EQ(CJsonLines("{\n\"a\": 1,\n!").LineOf("/a"), 2u);
    EXPECT_EQ(CJsonLines("").LineOf("/a"), 1u);
    EXPECT_EQ(CJsonLines("]").LineOf("/a"), 1u);
}
