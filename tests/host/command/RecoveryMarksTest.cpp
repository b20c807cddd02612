// Proves how a document is marked on disk as recovered: RecoveryMarks.

#include "ChildProgram.h"
#include "ExitCode.h"
#include "InfoFileText.h"
#include "RecoveryMarks.h"
#include "StoreFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {
using testing::ElementsAre;

constexpr TEMP_DOCUMENT_STATUS Set = TEMP_DOCUMENT_RECOVERED;
constexpr TEMP_DOCUMENT_STATUS Clear = TEMP_DOCUMENT_NOT_RECOVERED;

class RecoveryMarksTest : public testing::Test {
protected:
    CDocumentsFolder m_documents;
    CStoreEntry m_store = MakeStore(m_documents, L"store", {{L"a.txt"}, {L"b.txt", true}, {L"c.txt"}});
};
} // namespace

TEST_F(RecoveryMarksTest, AMarkIsOnDiskAtOnceAndTakesNothingElseWithIt) {
    const std::string before = ReadInfoFile(m_store.InfoPath());
    CRecoveryMarks marks(m_store);
    marks.Set(2, Set);
    EXPECT_THAT(RecoveredOnDisk(m_store), ElementsAre(false, true, true));
    const std::string after = ReadInfoFile(m_store.InfoPath());
    ASSERT_EQ(after.size(), before.size());
    std::size_t changed = 0;
    for (std::size_t i = 0; i < after.size(); ++i)
        changed += after[i] != before[i] ? 1 : 0;
    EXPECT_EQ(changed, 5u);
    marks.Set(0, Set);
    EXPECT_THAT(RecoveredOnDisk(m_store), ElementsAre(true, true, true));
}

TEST_F(RecoveryMarksTest, AMarkCanBeTakenBack) {
    CRecoveryMarks marks(m_store);
    const std::string before = ReadInfoFile(m_store.InfoPath());
    marks.Set(0, Set);
    marks.Set(0, Clear);
    EXPECT_EQ(ReadInfoFile(m_store.InfoPath()), before);
    marks.Set(1, Clear);
    EXPECT_THAT(RecoveredOnDisk(m_store), ElementsAre(false, false, false));
}

TEST_F(RecoveryMarksTest, InTheEndTheFileIsAsTheWriterWritesIt) {
    CRecoveryMarks(m_store).Set(0, Set);
    const std::string bytes = ReadInfoFile(m_store.InfoPath());
    EXPECT_EQ(bytes.find("True\t\t\t\t\t"), std::string::npos);
    WriteStore(m_store);
    EXPECT_EQ(ReadInfoFile(m_store.InfoPath()), bytes);
}

TEST_F(RecoveryMarksTest, AFileThatNobodyMarksStaysAsItIs) {
    const std::string odd = "<DocStore><Docs></Docs></DocStore>";
    std::ofstream(std::filesystem::path(m_store.InfoPath()), std::ios::binary) << odd;
    { const CRecoveryMarks marks(m_store); }
    EXPECT_EQ(ReadInfoFile(m_store.InfoPath()), odd);
}

TEST_F(RecoveryMarksTest, AFileOfAnotherLayoutIsRewrittenWhole) {
    std::string text = ReadInfoFile(m_store.InfoPath());
    std::erase(text, '\t');
    std::ofstream(std::filesystem::path(m_store.InfoPath()), std::ios::binary) << text;
    CRecoveryMarks marks(m_store);
    marks.Set(0, Set);
    EXPECT_THAT(RecoveredOnDisk(m_store), ElementsAre(true, true, false));
    marks.Set(2, Set);
    EXPECT_THAT(RecoveredOnDisk(m_store), ElementsAre(true, true, true));
}

TEST_F(RecoveryMarksTest, AValueThatLooksLikeAMarkLeadsNoneAstray) {
    std::string text = ReadInfoFile(m_store.InfoPath());
    text.insert(text.find("\t\t\t\t<Rec>"),
                "<Unknown>\r\n\t\t\t\t<Rec>\r\n\t\t\t\tFalse\t\t\t\t\r\n</Rec>\r\n</Unknown>\r\n");
    std::ofstream(std::filesystem::path(m_store.InfoPath()), std::ios::binary) << text;
    ASSERT_THAT(RecoveredOnDisk(m_store), ElementsAre(false, true, false));
    CRecoveryMarks marks(m_store);
    marks.Set(0, Set);
    EXPECT_THAT(RecoveredOnDisk(m_store), ElementsAre(true, true, false));
}

TEST_F(RecoveryMarksTest, AFileThatSomebodyRewroteMeanwhileIsNotOverwrittenInTheWrongPlace) {
    CRecoveryMarks marks(m_store);
    marks.Set(0, Set);
    m_store.Documents()[0]->SetDocName(L"a longer name than before");
    WriteStore(m_store);
    marks.Set(2, Set);
    EXPECT_THAT(RecoveredOnDisk(m_store), ElementsAre(true, true, true));
}

TEST_F(RecoveryMarksTest, AnotherElementThatCameToStandThereIsNotOverwritten) {
    CRecoveryMarks marks(m_store);
    marks.Set(0, Set);
    std::string text = ReadInfoFile(m_store.InfoPath());
    text.replace(text.rfind("<Rec>"), 5, "<Odd>");
    text.replace(text.rfind("</Rec>"), 6, "</Odd>");
    std::ofstream(std::filesystem::path(m_store.InfoPath()), std::ios::binary) << text;
    marks.Set(2, Set);
    EXPECT_THAT(RecoveredOnDisk(m_store), ElementsAre(true, true, true));
}

TEST_F(RecoveryMarksTest, AFileThatCannotBeWrittenIsAnErrorAndTheDocumentStaysUnrecovered) {
    const CUniqueHandle reader(
        CreateFileW(m_store.InfoPath().c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    CRecoveryMarks marks(m_store);
    EXPECT_THROW(marks.Set(0, Set), CCommandError);
    EXPECT_EQ(m_store.Documents()[0]->GetStatus(), Clear);
}

TEST_F(RecoveryMarksTest, AMarkThatWasTornIsReadAsNotRecovered) {
    const std::string whole = ReadInfoFile(m_store.InfoPath());
    const std::size_t value = whole.find("False");
    for (std::size_t written = 1; written < 5; ++written)
        for (const bool head : {true, false}) {
            std::string torn = whole;
            const std::string_view mark = RecoveredValue(Set);
            const std::size_t from = head ? 0 : 5 - written;
            torn.replace(value + from, written, mark.substr(from, written));
            std::ofstream(std::filesystem::path(m_store.InfoPath()), std::ios::binary) << torn;
            EXPECT_THAT(RecoveredOnDisk(m_store), ElementsAre(false, true, false)) << torn.substr(value, 5);
        }
}
