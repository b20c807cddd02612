#include "InfoFileText.h"

#include <gtest/gtest.h>

TEST(MendInfoText, EscapesValuesAndLeavesTheLayoutAlone) {
    const struct {
        const char* text;
        const char* mended;
    } cases[] = {
        {"", ""},
        {"\t<Name>\r\n\tR&D <1>\t\r\n</Name>\r\n", "\t<Name>\r\n\tR&amp;D &lt;1>\t\r\n</Name>\r\n"},
        {"\t<Docs>\r\n\t\r\n</Docs>\r\n", "\t<Docs>\r\n\t\r\n</Docs>\r\n"},
        {"\t<Doc>\r\n\t\t<Name>\r\n\t\t<b>\t\t\r\n</Name>\r\n",
         "\t<Doc>\r\n\t\t<Name>\r\n\t\t&lt;b>\t\t\r\n</Name>\r\n"},
        {"\t<Name>\n\ta & b\n</Other>", "\t<Name>\n\ta & b\n</Other>"},
        {"<?xml version=\"1.0\"?>\r\n", "<?xml version=\"1.0\"?>\r\n"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(MendInfoText(c.text), c.mended) << c.text;
}

TEST(MakeWritable, DoublesPercentSignsAndEscapesMarkup) {
    EXPECT_EQ(MakeWritable(L"100% R&D <draft>"), L"100%% R&amp;D &lt;draft>");
    EXPECT_EQ(MakeWritable(L""), L"");
}

TEST(CWritableRecords, GivesTheRecordsTheirOwnValuesBack) {
    CInternalSavedDocument record;
    record.SetDocName(L"100%");
    record.SetAppExeImageName(L"r&d.exe");
    std::wstring value;
    {
        const CWritableRecords writable({&record});
        record.GetDocName(value);
        EXPECT_EQ(value, L"100%%");
        record.GetAppExeImageName(value);
        EXPECT_EQ(value, L"r&amp;d.exe");
    }
    record.GetDocName(value);
    EXPECT_EQ(value, L"100%");
    record.GetAppExeImageName(value);
    EXPECT_EQ(value, L"r&d.exe");
}
