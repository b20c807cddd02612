// Proves the first scan of a process, which can be had only once: DocumentStoreHistory.

#include "ScriptExecution/DocumentStoreHistory.h"

#include "DocumentsFixture.h"

// A program of its own: only a history that was never refreshed shows what the first scan leaves behind.

TEST(FirstScanTest, TheFirstQueryScansAndAFailedScanIsTriedAgain) {
    CCultureHelper::InitInstance(nullptr, nullptr);
    const CDocumentsFolder folder;
    const CLogLines log;
    auto& history = CDocumentStoreHistory::GetInstance();
    const auto broken = folder.Base() / L"b" / L"info.xml";
    WriteBytes(folder.Base() / L"a" / L"info.xml",
               "<DocStore><StateChange><When>2024-03-07T17:05:09</When></StateChange><Docs><Doc/></Docs></DocStore>");
    WriteBytes(broken, "<DocStore>");

    FILETIME time{};
    Thrown<CXmlParseException>([&] { history.HasUnrecoveredDocuments(); });
    Thrown<CXmlParseException>([&] { history.GetSavedDocumentInfos(); });
    Thrown<CXmlParseException>([&] { history.GetLastDocumentSaveTime(&time); });
    CScriptDocument document;
    document.values["TempPath"] = broken.wstring();
    CDocumentStoreInfo* found = nullptr;
    Thrown<CXmlParseException>([&] { history.GetDocumentStoreInfoForDocument(&document, &found); });

    std::filesystem::remove(broken);
    EXPECT_TRUE(history.HasUnrecoveredDocuments());
    WriteBytes(broken, "<DocStore>");
    EXPECT_TRUE(history.GetLastDocumentSaveTime(&time));
    EXPECT_EQ(history.GetSavedDocumentInfos().size(), 1u);

    // A later scan that fails is tried again, too.
    Thrown<CXmlParseException>([&] { history.Refresh(); });
    Thrown<CXmlParseException>([&] { history.GetSavedDocumentInfos(); });
    std::filesystem::remove(broken);
    EXPECT_EQ(history.GetSavedDocumentInfos().size(), 1u);
}
