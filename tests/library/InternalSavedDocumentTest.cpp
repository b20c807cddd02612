// Proves the record of one document: InternalSavedDocument.

#include "InternalSavedDocument.h"

#include "DocumentsFixture.h"

#include <set>
#include <utility>

namespace {
using Record = CInternalSavedDocument;

Record Filled() {
    Record record;
    record.SetDocName(L"name");
    record.SetDocOriginalPath(L"original");
    record.SetDocTempPath(L"temp");
    record.SetAppPath(L"app");
    record.SetAppFriendlyName(L"friendly");
    record.SetSaveScriptName(L"save");
    record.SetRestoreScriptName(L"restore");
    record.SetStatus(TEMP_DOCUMENT_RECOVERED);
    return record;
}

/// All properties in one line, the image name last.
std::wstring Describe(const Record& record) {
    std::wstring result = std::to_wstring(record.GetStatus());
    for (const auto getter : {&Record::GetDocName, &Record::GetDocOriginalPath, &Record::GetDocTempPath,
                              &Record::GetAppPath, &Record::GetAppFriendlyName, &Record::GetSaveScriptName,
                              &Record::GetRestoreScriptName, &Record::GetAppExeImageName})
        result += L'|' + Text(record, getter);
    return result;
}

class SavedDocumentTest : public testing::Test {
protected:
    CLogLines log;
};

CScriptDocument ScriptDocument() {
    CScriptDocument document;
    document.values = {{"Name", L"N"},
                       {"OriginalPath", L"O"},
                       {"TempPath", L"T"},
                       {"AppExeName", L"E"},
                       {"AppFriendlyName", L"F"},
                       {"SaveScriptName", L"S"},
                       {"RestoreScriptName", L"R"}};
    return document;
}
} // namespace

TEST_F(SavedDocumentTest, ANewRecordIsEmptyAndNotRecovered) {
    EXPECT_EQ(Describe(Record()), L"0||||||||");
    EXPECT_EQ(TEMP_DOCUMENT_NOT_RECOVERED, 0u);
    EXPECT_EQ(TEMP_DOCUMENT_RECOVERED, 1u);
    EXPECT_EQ(sizeof(TEMP_DOCUMENT_STATUS), 4u);
}

TEST_F(SavedDocumentTest, EachPropertyReadsBack) {
    Record record = Filled();
    record.SetAppExeImageName(L"exe");
    EXPECT_EQ(Describe(record), L"1|name|original|temp|app|friendly|save|restore|exe");
}

TEST_F(SavedDocumentTest, NamesLiveInTheHeldScript) {
    const Record record = Filled();
    EXPECT_EQ(record.GetScript().GetAppFriendlyName(), L"friendly");
    EXPECT_EQ(record.GetScript().GetScriptName(), L"save");
    EXPECT_EQ(record.GetScript().GetRestoreScript().GetScriptName(), L"restore");
}

TEST_F(SavedDocumentTest, SetScriptReplacesTheNames) {
    CDocumentScript script;
    script.SetAppFriendlyName(L"F");
    script.SetScriptName(L"S");
    script.GetRestoreScript().SetScriptName(L"R");
    script.SetStateChanges(5);
    Record record = Filled();
    record.SetScript(script);
    EXPECT_EQ(Describe(record), L"1|name|original|temp|app|F|S|R|");
    EXPECT_EQ(record.GetScript().GetStateChanges(), 5u);
    record.GetScript().SetStateChanges(4);
    EXPECT_EQ(script.GetStateChanges(), 5u);
}

TEST_F(SavedDocumentTest, CopiesLeaveTheImageNameOutAndStillCompareEqual) {
    Record record = Filled();
    record.SetAppExeImageName(L"exe");
    const Record copy(record);
    EXPECT_EQ(Describe(copy), L"1|name|original|temp|app|friendly|save|restore|");
    EXPECT_TRUE(copy == record);
    EXPECT_FALSE(copy != record);

    Record assigned;
    assigned.SetAppExeImageName(L"own");
    assigned = record;
    EXPECT_EQ(Describe(assigned), L"1|name|original|temp|app|friendly|save|restore|own");
    EXPECT_TRUE(assigned == record);
}

TEST_F(SavedDocumentTest, AnyOtherDifferenceMakesRecordsUnequal) {
    const std::pair<const char*, void (*)(Record&)> rows[] = {
        {"script", [](Record& record) { record.SetSaveScriptName(L"x"); }},
        {"friendly name", [](Record& record) { record.SetAppFriendlyName(L"x"); }},
        {"restore script", [](Record& record) { record.SetRestoreScriptName(L"x"); }},
        {"app path", [](Record& record) { record.SetAppPath(L"APP"); }},
        {"original path", [](Record& record) { record.SetDocOriginalPath(L"ORIGINAL"); }},
        {"temp path", [](Record& record) { record.SetDocTempPath(L"TEMP"); }},
        {"name", [](Record& record) { record.SetDocName(L"NAME"); }},
        {"status", [](Record& record) { record.SetStatus(TEMP_DOCUMENT_NOT_RECOVERED); }},
    };
    for (const auto& [field, change] : rows) {
        Record changed = Filled();
        change(changed);
        EXPECT_FALSE(changed == Filled()) << field;
        EXPECT_TRUE(changed != Filled()) << field;
    }
    Record renamed = Filled();
    renamed.SetAppExeImageName(L"other");
    EXPECT_TRUE(renamed == Filled());
}

TEST_F(SavedDocumentTest, EachChangeMakesARevisionThatNoRecordHadBefore) {
    const std::pair<const char*, void (*)(Record&)> rows[] = {
        {"name", [](Record& record) { record.SetDocName(L"x"); }},
        {"original path", [](Record& record) { record.SetDocOriginalPath(L"x"); }},
        {"temp path", [](Record& record) { record.SetDocTempPath(L"x"); }},
        {"image name", [](Record& record) { record.SetAppExeImageName(L"x"); }},
        {"app path", [](Record& record) { record.SetAppPath(L"x"); }},
        {"friendly name", [](Record& record) { record.SetAppFriendlyName(L"x"); }},
        {"save script", [](Record& record) { record.SetSaveScriptName(L"x"); }},
        {"restore script", [](Record& record) { record.SetRestoreScriptName(L"x"); }},
        {"status", [](Record& record) { record.SetStatus(TEMP_DOCUMENT_RECOVERED); }},
        {"script", [](Record& record) { record.SetScript({}); }},
        {"assignment", [](Record& record) { record = Filled(); }},
        {"object",
         [](Record& record) {
             CScriptDocument document = ScriptDocument();
             record.InitFrom(&document);
         }},
    };
    Record record;
    std::set<std::uint64_t> revisions{0, record.GetRevision(), Record().GetRevision(), Record(record).GetRevision()};
    EXPECT_EQ(revisions.size(), 4u);
    for (const auto& [what, change] : rows) {
        change(record);
        EXPECT_TRUE(revisions.insert(record.GetRevision()).second) << what;
        EXPECT_EQ(std::as_const(record).GetScript().GetText(), L"");
        EXPECT_FALSE(revisions.insert(record.GetRevision()).second) << "reading after " << what;
    }
}

TEST_F(SavedDocumentTest, ARecordThatLendsItsScriptHasNoRevisionAnyMore) {
    Record record;
    record.GetScript();
    EXPECT_EQ(record.GetRevision(), 0u);
    record.SetDocName(L"x");
    EXPECT_EQ(record.GetRevision(), 0u);
    record = Filled();
    EXPECT_EQ(record.GetRevision(), 0u);
    EXPECT_NE(Record(record).GetRevision(), 0u);
}

TEST_F(SavedDocumentTest, InitFromAnObjectTakesTheNamesOnly) {
    CScriptDocument document = ScriptDocument();
    Record record = Filled();
    record.InitFrom(&document);
    EXPECT_EQ(Describe(record), L"1|N|original|temp|app|F|S|R|E");
    EXPECT_EQ(document.references, 1);
}

TEST_F(SavedDocumentTest, InitFromStopsAtTheFirstPropertyThatFails) {
    const struct {
        const char* property;
        const wchar_t* message;
        const wchar_t* kept;
    } rows[] = {
        {"AppExeName", L"ISavedDocument::get_AppExeName failed", L"0||||||||"},
        {"AppFriendlyName", L"ISavedDocument::get_AppFriendlyName failed", L"0||||||||E"},
        {"SaveScriptName", L"ISavedDocument::get_SaveScriptName failed", L"0|||||F|||E"},
        {"RestoreScriptName", L"ISavedDocument::get_RestoreScriptName failed", L"0|||||F|S||E"},
        {"Name", L"ISavedDocument::get_Name failed", L"0|||||F|S|R|E"},
    };
    for (const auto& row : rows) {
        CScriptDocument document = ScriptDocument();
        document.failing = row.property;
        Record record;
        log.Clear();
        EXPECT_EQ(Thrown<COSException>([&] { record.InitFrom(&document); }).GetErrorCode(), 0x80070005u);
        EXPECT_EQ(Describe(record), row.kept) << row.property;
        ASSERT_EQ(log.Get().size(), 1u);
        EXPECT_TRUE(log.Get()[0].starts_with(L"ERROR TalvinorGlobal: Failure HRESULT=0x80070005; \"" +
                                             std::wstring(row.message) + L"\"; at InternalSavedDocument.cpp; line "))
            << row.property;
        EXPECT_TRUE(log.Get()[0].ends_with(L"; CInternalSavedDocument::InitFrom")) << row.property;
    }
}

TEST_F(SavedDocumentTest, InitFromNullRaises) {
    Record record = Filled();
    Thrown<CMorvaneException>([&] { record.InitFrom(nullptr); });
    ASSERT_EQ(log.Get().size(), 1u);
    EXPECT_TRUE(
        log.Get()[0].starts_with(L"ERROR TalvinorGlobal: Failed sanity test \"Null pDoc argument to "
                                 L"CInternalSavedDocument::InitFrom\"; tested at InternalSavedDocument.cpp; line "));
    EXPECT_TRUE(log.Get()[0].ends_with(L"; CInternalSavedDocument::InitFrom"));
    EXPECT_EQ(Describe(record), Describe(Filled()));
}
