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

TEST(WritableCopy, HoldsWhatTheWriterWritesWholeAndLeavesTheStoreAlone) {
    CInternalDocumentStore store;
    auto& record = *store.GetSavedDocumentList()->emplace_back(std::make_unique<CInternalSavedDocument>());
    record.SetDocName(L"100%");
    record.SetAppExeImageName(L"r&d.exe");
    record.SetRestoreScriptName(L"<restore>.js");
    const auto copy = WritableCopy(store);
    const auto text = [](const CInternalDocumentStore& of, auto get) {
        std::wstring value;
        (of.GetSavedDocumentList()->at(0).get()->*get)(value);
        return value;
    };
    EXPECT_EQ(text(*copy, &CInternalSavedDocument::GetDocName), L"100%%");
    EXPECT_EQ(text(*copy, &CInternalSavedDocument::GetAppExeImageName), L"r&amp;d.exe");
    EXPECT_EQ(text(*copy, &CInternalSavedDocument::GetRestoreScriptName), L"&lt;restore>.js");
    EXPECT_EQ(text(store, &CInternalSavedDocument::GetDocName), L"100%");
    EXPECT_EQ(text(store, &CInternalSavedDocument::GetAppExeImageName), L"r&d.exe");
    EXPECT_EQ(text(store, &CInternalSavedDocument::GetRestoreScriptName), L"<restore>.js");
    std::wstring directory;
    std::wstring copied;
    store.GetStorageDirectory(directory, false);
    copy->GetStorageDirectory(copied, false);
    EXPECT_EQ(copied, directory);
}
