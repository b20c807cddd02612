// Proves how an info file is read that was written without escapes: InfoFileText.

#include "InfoFileText.h"

#include <gtest/gtest.h>

TEST(MendInfoText, EscapesValuesAndLeavesTheLayoutAlone) {
    const struct {
        const char* text;
        const char* mended;
    } cases[] = {
        {"", ""},
        {"<Name>", "<Name>"},
        {"\t<Name>\r\n\tR&D <1>\t\r\n</Name>\r\n", "\t<Name>\r\n\tR&amp;D &lt;1&gt;\t\r\n</Name>\r\n"},
        {"\t<Docs>\r\n\t\r\n</Docs>\r\n", "\t<Docs>\r\n\t\r\n</Docs>\r\n"},
        {"\t<Doc>\r\n\t\t<Name>\r\n\t\t<b>\t\t\r\n</Name>\r\n",
         "\t<Doc>\r\n\t\t<Name>\r\n\t\t&lt;b&gt;\t\t\r\n</Name>\r\n"},
        {"\t<Name>\n\ta & b\n</Other>", "\t<Name>\n\ta & b\n</Other>"},
        {"\t<Name>\n\ta & b\n</Name>", "\t<Name>\n\ta &amp; b\n</Name>"},
        {"\t<Guid>\n\ta & b\n</Guid>\n", "\t<Guid>\n\ta & b\n</Guid>\n"},
        // A value of several lines, with what looks like an end or another beginning in it.
        {"<OrigPath>\r\n\ta\r\n&<Name>\r\n</OrigPath>x\r\n\t\r\n</OrigPath>\r\n<Name>\r\n&\r\n</Name>\r\n",
         "<OrigPath>\r\n\ta\r\n&amp;&lt;Name&gt;\r\n&lt;/OrigPath&gt;x\r\n\t\r\n</OrigPath>\r\n<Name>\r\n&amp;\r\n"
         "</Name>\r\n"},
        // What no XML file can hold.
        {"<Name>\na\x01\x1f\tb\x7f ]]>\xEF\xBF\xBE\xEF\xBF\xBF\xEF\xBF\xBD\n</Name>\n",
         "<Name>\na\xEF\xBF\xBD\xEF\xBF\xBD\tb\x7f ]]&gt;\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\n</Name>\n"},
        {"<?xml version=\"1.0\"?>\r\n", "<?xml version=\"1.0\"?>\r\n"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(MendInfoText(c.text), c.mended) << c.text;
}

TEST(AsRecorded, IsWhatTheReaderGivesBackOfAPlainValue) {
    EXPECT_EQ(AsRecorded(L"C:\\plain & simple.txt"), L"C:\\plain & simple.txt");
    EXPECT_EQ(AsRecorded(L"a%d 100%%"), L"a0 100%");
    EXPECT_EQ(AsRecorded(L"\xd83d\xde00 \xd83d \xde00 \xffff"), L"\xd83d\xde00 \xfffd \xfffd \xfffd");
}
