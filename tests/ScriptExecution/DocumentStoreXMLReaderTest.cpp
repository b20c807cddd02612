// Proves what is read from an info file and what refuses it: DocumentStoreXMLReader, DocumentStoreXmlParser,
// InfoFileElements, InfoFileFields.

#include "ScriptExecution/DocumentStoreXMLReader.h"

#include "ScriptExecution/DocumentStoreInfo.h"
#include "ScriptExecution/DocumentStoreXmlParser.h"
#include "DocumentsFixture.h"

using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

namespace {
using Record = CInternalSavedDocument;

class ReaderTest : public DocumentsTest {
protected:
    /// Reads a file of these bytes into the info.
    void Read(const std::string& bytes) {
        WriteBytes(path, bytes);
        CDocumentStoreXMLReader(path.wstring()).ReadDocumentStore(info);
    }

    std::vector<std::wstring> Names() const {
        std::vector<std::wstring> names;
        for (const auto& record : *info.GetInternalDocumentStore()->GetSavedDocumentList())
            names.push_back(Text(*record, &Record::GetDocName));
        return names;
    }

    std::wstring StoreId() const {
        CGuid guid(GUID{});
        info.GetInternalDocumentStore()->GetGuid(guid);
        return guid.ToString();
    }

    const CStateChangeInstance& Change() const { return *info.GetStateChangeInstance(); }

    fs::path path = folder.Path() / L"info.xml";
    CDocumentStoreInfo info;
};

std::string Doc(const std::string& content) {
    return "<DocStore><Docs><Doc>" + content + "</Doc></Docs></DocStore>";
}
std::string ChangeFile(const std::string& content) {
    return "<DocStore><StateChange>" + content + "</StateChange></DocStore>";
}

std::wstring Utc(const FILETIME& time) {
    SYSTEMTIME parts{};
    FileTimeToSystemTime(&time, &parts);
    std::wstring text;
    for (const int part :
         {parts.wYear, parts.wMonth, parts.wDay, parts.wHour, parts.wMinute, parts.wSecond, parts.wMilliseconds})
        text += std::to_wstring(part) + L' ';
    return text;
}

constexpr char Id1[] = "5d8a1c2e-3b4f-4a6d-9e7f-0a1b2c3d4e5f";
constexpr char Id2[] = "0f1e2d3c-4b5a-4968-8776-655443322110";
} // namespace

TEST_F(ReaderTest, ACompleteFileFillsEveryField) {
    Read(std::string("<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n\t<DocStore>\r\n\t\t<Guid>\r\n\t\t") + Id1 +
         "\t\t\r\n</Guid>\r\n<StateChange><When>\r\n 2024-03-07T17:05:09 \t</When><Type>\tsTANDBY\r\n</Type><Guid>" +
         Id2 +
         "</Guid></StateChange><Docs><Doc><Name> the  name\r\n</Name><OrigPath>o</OrigPath><TempPath>t</TempPath>"
         "<AppName>e</AppName><AppPath>a</AppPath><Rec>\tTRUE\r\n</Rec><RestoreScript>r</RestoreScript>"
         "<SaveScript>s</SaveScript></Doc></Docs></DocStore>\r\n");
    EXPECT_EQ(StoreId(), std::wstring(Id1, Id1 + 36));
    EXPECT_EQ(CGuid(Change().GetId()).ToString(), std::wstring(Id2, Id2 + 36));
    EXPECT_EQ(Utc(Change().GetUTCTimestamp()), L"2024 3 7 17 5 9 0 ");
    EXPECT_EQ(Change().GetStateChangeType(), Standby);
    ASSERT_THAT(Names(), ElementsAre(L"the  name"));
    const Record& record = *info.GetInternalDocumentStore()->GetSavedDocumentList()->front();
    EXPECT_EQ(Text(record, &Record::GetDocOriginalPath), L"o");
    EXPECT_EQ(Text(record, &Record::GetDocTempPath), L"t");
    EXPECT_EQ(Text(record, &Record::GetAppExeImageName), L"e");
    EXPECT_EQ(Text(record, &Record::GetAppPath), L"a");
    EXPECT_EQ(Text(record, &Record::GetRestoreScriptName), L"r");
    EXPECT_EQ(Text(record, &Record::GetSaveScriptName), L"s");
    EXPECT_EQ(record.GetStatus(), TEMP_DOCUMENT_RECOVERED);
    EXPECT_THAT(log.Get(), IsEmpty());
}

TEST_F(ReaderTest, MissingElementsLeaveTheDefaults) {
    const std::wstring id = StoreId();
    const GUID change = Change().GetId();
    Read("<DocStore><Docs><Doc/></Docs></DocStore>");
    EXPECT_EQ(StoreId(), id);
    EXPECT_EQ(Change().GetId(), change);
    EXPECT_EQ(Utc(Change().GetUTCTimestamp()), L"1601 1 1 0 0 0 0 ");
    EXPECT_THAT(Names(), ElementsAre(L""));
    EXPECT_EQ(info.GetInternalDocumentStore()->GetSavedDocumentList()->front()->GetStatus(),
              TEMP_DOCUMENT_NOT_RECOVERED);
}

TEST_F(ReaderTest, TheFirstElementOfAKindWins) {
    Read(
        std::string("<DocStore><Guid>") + Id1 + "</Guid><Guid>" + Id2 +
        "</Guid><StateChange><Type>Shutdown</Type><Type>Hibernate</Type><When>2024-03-07T17:05:09</When>"
        "<When>rubbish</When></StateChange><StateChange><Guid>rubbish</Guid></StateChange>"
        "<Docs><Doc><Name>a</Name><Name>b</Name><Rec>true</Rec><Rec>rubbish</Rec></Doc><Doc><Name>c</Name></Doc></Docs>"
        "<Docs><Doc><Name>d</Name></Doc></Docs></DocStore>");
    EXPECT_EQ(StoreId(), std::wstring(Id1, Id1 + 36));
    EXPECT_EQ(Change().GetStateChangeType(), Shutdown);
    EXPECT_THAT(Names(), ElementsAre(L"a", L"c"));
    EXPECT_EQ(info.GetInternalDocumentStore()->GetSavedDocumentList()->front()->GetStatus(), TEMP_DOCUMENT_RECOVERED);
}

TEST_F(ReaderTest, AnEmptyFirstElementWinsToo) {
    Read(Doc("<Name/><Name>b</Name>"));
    EXPECT_THAT(Names(), ElementsAre(L""));
}

TEST_F(ReaderTest, UnknownElementsAreIgnoredWithTheirSubtrees) {
    Read("<DocStore a='1'><!-- c --><?p i?><X><Guid>rubbish</Guid><Docs><Doc/></Docs></X><docs><Doc/></docs>"
         "<Name>x</Name><Docs><Other><Doc/></Other><Doc><name>x</name><Guid>rubbish</Guid><Doc/>"
         "<Name>a<b>skipped<Name>x</Name>too</b>c</Name></Doc><Name>y</Name></Docs>text</DocStore>");
    EXPECT_THAT(Names(), ElementsAre(L"ac"));
}

TEST_F(ReaderTest, TextIsTrimmedAndJoined) {
    const std::pair<const char*, const wchar_t*> rows[] = {
        {"<Name> \r\n\t a b \t\n</Name>", L"a b"},
        {"<Name> \r\n\t </Name>", L""},
        {"<Name>a&amp;b&lt;c&#x20;</Name>", L"a&b<c"},
        {"<Name><![CDATA[ <a> & ]]></Name>", L"<a> &"},
        {"<Name>a<!-- x -->b</Name>", L"ab"},
        {"<Name>\xC2\xA0x</Name>", L"\u00A0x"},
        {"<OrigPath>left</OrigPath><Name>own</Name>", L"own"},
        {"<Name> <!-- x --> \n a <!-- y --> b </Name>", L"a  b"},
        {"<Name> a<Other>skipped<Other>too</Other></Other> b </Name>", L"a b"},
        {"stray<Name>own</Name>stray<OrigPath/>stray", L"own"},
    };
    for (const auto& [content, name] : rows) {
        info.GetInternalDocumentStore()->GetSavedDocumentList()->clear();
        Read(Doc(content));
        EXPECT_THAT(Names(), ElementsAre(name)) << content;
    }
}

TEST_F(ReaderTest, CharactersComeBackWholeWhereverTheBlocksEnd) {
    for (std::size_t shift = 0; shift < 6; ++shift) {
        std::string utf8;
        std::wstring expected;
        for (int i = 0; i < 400; ++i) {
            utf8 += "\xF0\x9F\x98\x80\xE6\x97\xA5\xC3\xA9";
            expected += L"\U0001F600\u65e5\u00e9";
        }
        info.GetInternalDocumentStore()->GetSavedDocumentList()->clear();
        Read(Doc("<Name>" + std::string(shift, 'x') + utf8 + "</Name>"));
        EXPECT_THAT(Names(), ElementsAre(std::wstring(shift, L'x') + expected)) << shift;
    }
}

TEST_F(ReaderTest, OtherEncodingsAreDeclared) {
    Read("<?xml version='1.0' encoding='iso-8859-1'?>" + Doc("<Name>\xE9</Name>"));
    EXPECT_THAT(Names(), ElementsAre(L"\u00e9"));
}

TEST_F(ReaderTest, RecoveredIsReadWithoutRegardToCase) {
    const std::pair<const char*, unsigned> rows[] = {
        {"True", 1}, {"TRUE", 1}, {" true ", 1}, {"False", 0}, {"fALSE", 0}};
    for (const auto& [text, status] : rows) {
        info.GetInternalDocumentStore()->GetSavedDocumentList()->clear();
        Read(Doc("<Rec>" + std::string(text) + "</Rec>"));
        EXPECT_EQ(info.GetInternalDocumentStore()->GetSavedDocumentList()->front()->GetStatus(), status) << text;
    }
}

TEST_F(ReaderTest, AnyOtherRecoveredTextRaisesWithTheText) {
    for (const char* text : {"", "1", "yes", "True.", "tru"}) {
        const auto failure = Thrown<CXmlParseException>([&] { Read(Doc("<Rec>" + std::string(text) + "</Rec>")); });
        EXPECT_EQ(failure.GetText(), std::wstring(text, text + strlen(text)));
    }
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(ReaderTest, AStateChangeTypeThatIsUnknownReadsAsNone) {
    info.GetStateChangeInstance()->SetStateChangeType(Hibernate);
    Read(ChangeFile("<Type>ForcedShutdown</Type>"));
    EXPECT_EQ(Change().GetStateChangeType(), 0u);
    Read(ChangeFile("<Type>forceshutdown</Type>"));
    EXPECT_EQ(Change().GetStateChangeType(), ForceShutdown);
}

TEST_F(ReaderTest, ATimeInAnyOtherFormRaisesWithTheText) {
    for (const char* text :
         {"", "2024-03-07T17:05:0", "2024-03-07T17:05:099", "2024/03-07T17:05:09", "2024-03/07T17:05:09",
          "2024-03-07 17:05:09", "2024-03-07T17.05:09", "2024-03-07T17:05.09", "2024-03-07t17:05:09",
          "2024-0x-07T17:05:09", "    -03-07T17:05:09", "2024-03-07T17:05:+9", "2024-13-07T17:05:09",
          "2024-02-30T17:05:09", "2024-03-07T24:00:00", "0000-00-00T00:00:00", "1600-01-01T00:00:00"}) {
        const auto failure =
            Thrown<CXmlParseException>([&] { Read(ChangeFile("<When>" + std::string(text) + "</When>")); });
        std::wstring wide(text, text + strlen(text));
        wide.erase(0, wide.find_first_not_of(L' ') == std::wstring::npos ? 0 : wide.find_first_not_of(L' '));
        EXPECT_EQ(failure.GetText(), wide);
        EXPECT_EQ(Utc(Change().GetUTCTimestamp()), L"1601 1 1 0 0 0 0 ") << text;
    }
}

TEST_F(ReaderTest, ABadIdentifierRaises) {
    for (const std::string& content :
         {std::string("<DocStore><Guid>rubbish</Guid></DocStore>"), std::string("<DocStore><Guid/></DocStore>"),
          ChangeFile("<Guid>{x}</Guid>"), ChangeFile(std::string("<Guid>{") + Id1 + "}</Guid>")}) {
        log.Clear();
        Thrown<COSException>([&] { Read(content); });
        ASSERT_EQ(log.At(L"ERROR").size(), 1u) << content;
        EXPECT_THAT(log.Get()[0], testing::HasSubstr(L"Could not init guid from string")) << content;
        EXPECT_TRUE(log.Get()[0].ends_with(L"; CGuid::CGuid")) << log.Get()[0];
    }
}

TEST_F(ReaderTest, AnotherRootIsRefused) {
    for (const char* text : {"<Store/>", "<docstore/>", "<Docs><DocStore/></Docs>"}) {
        log.Clear();
        Thrown<CMorvaneException>([&] { Read(text); });
        ASSERT_EQ(log.Get().size(), 1u);
        EXPECT_TRUE(
            log.Get()[0].starts_with(L"ERROR TalvinorGlobal: Failed sanity test \"Invalid root element\"; tested "
                                     L"at ScriptExecution/DocumentStoreXmlParser.cpp; line "));
        EXPECT_TRUE(log.Get()[0].ends_with(L"; CDocumentStoreXmlParser::HandleStartElement")) << log.Get()[0];
    }
}

TEST_F(ReaderTest, MalformedTextRaisesWithLineAndReason) {
    const std::pair<const char*, const wchar_t*> rows[] = {
        {"", L"Parse error at line 1:\nno element found\n"},
        {"<DocStore>\n\n</Docs>", L"Parse error at line 3:\nmismatched tag\n"},
        {"<DocStore>\n<Docs>", L"Parse error at line 2:\nno element found\n"},
        {"<DocStore/>\n<DocStore/>", L"Parse error at line 2:\njunk after document element\n"},
        {"<DocStore>\na & b</DocStore>", L"Parse error at line 2:\nnot well-formed (invalid token)\n"},
        {"<DocStore>&x;</DocStore>", L"Parse error at line 1:\nundefined entity\n"},
        {"<DocStore>\xFF</DocStore>", L"Parse error at line 1:\nnot well-formed (invalid token)\n"},
        {"<?xml version='1.0' encoding='none'?><DocStore/>", L"Parse error at line 1:\nunknown encoding\n"},
    };
    for (const auto& [text, message] : rows)
        EXPECT_EQ(Thrown<CXmlParseException>([this, &text = text] { Read(text); }).GetText(), message) << text;
}

TEST_F(ReaderTest, RecordsBeforeAFailureStay) {
    Thrown<CXmlParseException>([&] {
        Read("<DocStore><Docs><Doc><Name>a</Name></Doc><Doc><Name>b</Name><Rec>x</Rec></Doc></Docs></DocStore>");
    });
    EXPECT_THAT(Names(), ElementsAre(L"a"));
}

TEST_F(ReaderTest, AMissingFileRaises) {
    Thrown<CMorvaneException>([&] { CDocumentStoreXMLReader(path.wstring()).ReadDocumentStore(info); });
    fs::create_directories(path);
    Thrown<CMorvaneException>([&] { CDocumentStoreXMLReader(path.wstring()).ReadDocumentStore(info); });
    ASSERT_EQ(log.Get().size(), 2u);
    EXPECT_TRUE(log.Get()[0].starts_with(L"ERROR TalvinorGlobal: Failed sanity test \"fopen_s failed: 2\"; tested at "
                                         L"Common/ExpatParseState.h; line "));
    EXPECT_TRUE(
        log.Get()[1].starts_with(L"ERROR TalvinorGlobal: Failed sanity test \"fopen_s failed: 13\"; tested at "));
    for (const auto& line : log.Get())
        EXPECT_TRUE(line.ends_with(L"; CExpatParser<16>::ParseFile")) << line;
}

TEST_F(ReaderTest, AMissingStreamRaises) {
    CDocumentStoreXmlParser parser(info);
    Thrown<CMorvaneException>([&] { parser.ParseFile(static_cast<FILE*>(nullptr)); });
    ASSERT_EQ(log.Get().size(), 1u);
    EXPECT_TRUE(
        log.Get()[0].starts_with(L"ERROR TalvinorGlobal: Failed sanity test \"Filehandle is NULL\"; tested at "));
    EXPECT_TRUE(log.Get()[0].ends_with(L"; CExpatParser<16>::ParseFile"));
}

TEST_F(ReaderTest, AStreamThatCannotBeReadRaises) {
    FILE* file = nullptr;
    ASSERT_EQ(_wfopen_s(&file, path.c_str(), L"wb"), 0);
    CDocumentStoreXmlParser parser(info);
    Thrown<COSException>([&] { parser.ParseFile(file); });
    fclose(file);
    ASSERT_EQ(log.Get().size(), 1u);
    EXPECT_TRUE(log.Get()[0].starts_with(L"ERROR TalvinorGlobal: Call to fread failed with \"")) << log.Get()[0];
}

TEST_F(ReaderTest, AnInfoWithoutObjectsIsRefused) {
    CInternalDocumentStore store;
    CDocumentStoreInfo noChange(nullptr, &store);
    CDocumentStoreInfo nothing(nullptr, nullptr);
    WriteBytes(path, "<DocStore/>");
    for (auto* each : {&noChange, &nothing})
        Thrown<CMorvaneException>([&] { CDocumentStoreXMLReader(path.wstring()).ReadDocumentStore(*each); });
}

TEST_F(ReaderTest, TheFileIsClosedOnEveryWayOut) {
    for (const char* text : {"<DocStore/>", "<Store/>", "<DocStore", "<DocStore><Guid>x</Guid></DocStore>"}) {
        try {
            Read(text);
        } catch (const CMorvaneException&) {
        }
        EXPECT_TRUE(DeleteFileW(path.c_str())) << text;
    }
}

TEST_F(ReaderTest, DeepAndLongFilesAreRead) {
    std::string deep = "<DocStore><Docs><Doc><Name>a</Name></Doc>";
    for (int i = 0; i < 20000; ++i)
        deep += "<x>";
    for (int i = 0; i < 20000; ++i)
        deep += "</x>";
    for (int i = 0; i < 5000; ++i)
        deep += "<Doc><Name>b</Name></Doc>";
    Read(deep + "</Docs></DocStore>");
    EXPECT_EQ(Names().size(), 5001u);
}

TEST_F(ReaderTest, AnInfoOwnsWhatItMadeAndCopiesShareIt) {
    CHostStateChange host;
    auto owner = std::make_unique<CDocumentStoreInfo>();
    owner->GetInternalDocumentStore()->SetStateChangeInstance(&host);
    auto copy = std::make_unique<CDocumentStoreInfo>();
    *copy = *owner;
    EXPECT_EQ(copy->GetInternalDocumentStore(), owner->GetInternalDocumentStore());
    owner.reset();
    EXPECT_EQ(host.references, 2);
    copy.reset();
    EXPECT_EQ(host.references, 1);

    CInternalDocumentStore store;
    CStateChangeInstance change;
    store.SetStateChangeInstance(&host);
    {
        CDocumentStoreInfo referring(&change, &store);
        EXPECT_EQ(referring.GetInternalDocumentStore(), &store);
        EXPECT_EQ(referring.GetStateChangeInstance(), &change);
    }
    EXPECT_EQ(host.references, 2);
    EXPECT_FALSE(store.HasUnrecoveredDocuments());
}
