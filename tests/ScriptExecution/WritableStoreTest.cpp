// How texts are made fit to be written, and what a copied store holds. Proves WritableStore.

#include "ScriptExecution/WritableStore.h"

#include "DocumentsFixture.h"

namespace {
using WritableStoreTest = DocumentsTest;
} // namespace

TEST(MakeWritable, DoublesPercentSignsEscapesMarkupAndReplacesWhatXmlCannotHold) {
    EXPECT_EQ(MakeWritable(L"100% R&D <draft> ]]>"), L"100%% R&amp;D &lt;draft&gt; ]]&gt;");
    EXPECT_EQ(MakeWritable(L"a\x1\x1f\t\xffff"), L"a\xfffd\xfffd\t\xfffd");
    EXPECT_EQ(MakeWritable(L""), L"");
}

TEST_F(WritableStoreTest, ACopyHoldsWhatTheWriterWritesWholeAndLeavesTheStoreAlone) {
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
    EXPECT_EQ(text(*copy, &CInternalSavedDocument::GetRestoreScriptName), L"&lt;restore&gt;.js");
    EXPECT_EQ(text(store, &CInternalSavedDocument::GetDocName), L"100%");
    EXPECT_EQ(text(store, &CInternalSavedDocument::GetAppExeImageName), L"r&d.exe");
    EXPECT_EQ(text(store, &CInternalSavedDocument::GetRestoreScriptName), L"<restore>.js");
    std::wstring directory;
    std::wstring copied;
    store.GetStorageDirectory(directory, false);
    copy->GetStorageDirectory(copied, false);
    EXPECT_EQ(copied, directory);
}
