// Text in memory, read in one piece and in blocks, and what that costs. Proves DocumentStoreXMLReader and
// DocumentStoreXmlParser.

#include "ScriptExecution/DocumentStoreInfo.h"
#include "ScriptExecution/DocumentStoreXMLReader.h"
#include "ScriptExecution/DocumentStoreXmlParser.h"

#include "ImportHook.h"
#include "DocumentsFixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {
class ReaderBlocksTest : public DocumentsTest {
protected:
    std::vector<std::wstring> Names() const {
        std::vector<std::wstring> names;
        for (const auto& record : *info.GetInternalDocumentStore()->GetSavedDocumentList())
            names.push_back(Text(*record, &CInternalSavedDocument::GetDocName));
        return names;
    }

    CDocumentStoreInfo info;
};

std::string File(const std::string& docs) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n<DocStore><Docs>" + docs + "</Docs></DocStore>\r\n";
}

std::size_t g_allocated = 0;
void* WINAPI CountedAlloc(HANDLE heap, DWORD flags, SIZE_T size) {
    g_allocated += size;
    return HeapAlloc(heap, flags, size);
}
} // namespace

TEST_F(ReaderBlocksTest, TextInMemoryReadsAsAFileDoes) {
    const std::string bytes = "<DocStore><Guid>5d8a1c2e-3b4f-4a6d-9e7f-0a1b2c3d4e5f</Guid><StateChange><Type>Shutdown"
                              "</Type></StateChange><Docs><Doc><Name> a\t</Name><Rec>True</Rec></Doc><Doc><Name>b"
                              "</Name></Doc></Docs></DocStore>";
    CDocumentStoreXMLReader::ReadDocumentStoreFromMemory(bytes, info);
    EXPECT_THAT(Names(), ElementsAre(L"a", L"b"));
    EXPECT_EQ(info.GetStateChangeInstance()->GetStateChangeType(), Shutdown);
    CGuid guid(GUID{});
    EXPECT_EQ(info.GetInternalDocumentStore()->GetGuid(guid), S_OK);
    EXPECT_EQ(guid.ToString(), L"5d8a1c2e-3b4f-4a6d-9e7f-0a1b2c3d4e5f");
    EXPECT_EQ(info.GetInternalDocumentStore()->GetSavedDocumentList()->front()->GetStatus(), TEMP_DOCUMENT_RECOVERED);
    EXPECT_THAT(log.Get(), IsEmpty());
}

TEST_F(ReaderBlocksTest, TextInMemoryIsRefusedAsAFileIs) {
    const auto read = [this](const char* bytes) { CDocumentStoreXMLReader::ReadDocumentStoreFromMemory(bytes, info); };
    EXPECT_EQ(Thrown<CXmlParseException>([&] { read(""); }).GetText(), L"Parse error at line 1:\nno element found\n");
    EXPECT_EQ(Thrown<CXmlParseException>([&] { read("<DocStore>\n\na & b</DocStore>"); }).GetText(),
              L"Parse error at line 3:\nnot well-formed (invalid token)\n");
    EXPECT_EQ(Thrown<CXmlParseException>([&] {
                  read(File("<Doc><Name>a</Name></Doc><Doc><Rec>no</Rec></Doc>").c_str());
              }).GetText(),
              L"no");
    EXPECT_THAT(Names(), ElementsAre(L"a"));
    EXPECT_THAT(log.Get(), IsEmpty());
    Thrown<CMorvaneException>([&] { read("<Store/>"); });
    EXPECT_TRUE(log.HasPrefix(L"ERROR TalvinorGlobal: Failed sanity test \"Invalid root element\"; tested at "));

    CDocumentStoreInfo nothing(nullptr, nullptr);
    Thrown<CMorvaneException>([&] { CDocumentStoreXMLReader::ReadDocumentStoreFromMemory("<DocStore/>", nothing); });
}

TEST_F(ReaderBlocksTest, BlocksMayEndAnywhere) {
    const std::string bytes =
        File("<Doc><Name>\xE6\x97\xA5 \xF0\x9F\x98\x80&amp;x</Name></Doc><Doc><Name>b</Name></Doc>");
    for (std::size_t size = 1; size <= bytes.size(); ++size) {
        info.GetInternalDocumentStore()->GetSavedDocumentList()->clear();
        CDocumentStoreXmlParser parser(info);
        for (std::size_t at = 0; at < bytes.size(); at += size)
            parser.Parse(std::string_view(bytes).substr(at, size), false);
        parser.Parse("", true);
        ASSERT_THAT(Names(), ElementsAre(L"\u65e5 \U0001F600&x", L"b")) << size;
    }
}

TEST_F(ReaderBlocksTest, TheDocumentIsNotOverBeforeItsLastBlock) {
    CDocumentStoreXmlParser parser(info);
    parser.Parse("<DocStore><Docs><Doc><Name>a</Name>", false);
    parser.Parse("", false);
    EXPECT_THAT(Names(), IsEmpty());
    EXPECT_EQ(Thrown<CXmlParseException>([&] { parser.Parse("\n</Doc></Docs>", true); }).GetText(),
              L"Parse error at line 2:\nno element found\n");
    EXPECT_THAT(Names(), ElementsAre(L"a"));
}

TEST_F(ReaderBlocksTest, ABlockOfManyMegabytesIsParsedWhole) {
    std::string docs;
    for (int i = 0; i < 100'000; ++i)
        docs += "<Doc><Name>n" + std::to_string(i) + "</Name></Doc>";
    ASSERT_GT(docs.size(), std::size_t(2) << 20);
    CDocumentStoreXMLReader::ReadDocumentStoreFromMemory(File(docs), info);
    ASSERT_EQ(Names().size(), 100'000u);
    for (const int i : {0, 30'000, 60'000, 99'999})
        EXPECT_EQ(Names()[static_cast<std::size_t>(i)], L"n" + std::to_wstring(i));
}

// What one element holds must not be worked through again at the ends of the others: the memory that is asked for says
// how much text was handled.
TEST_F(ReaderBlocksTest, ALongTextIsHandledOnceHoweverManyElementsFollow) {
    const std::string text(300'000, 'x');
    std::string empty;
    std::string unknown;
    for (int i = 0; i < 1'000; ++i) {
        empty += "<Doc></Doc>";
        unknown += "<Odd><Odd/></Odd>";
    }
    const auto allocated = [this](const std::string& docs) {
        const std::string bytes = File(docs);
        const CImportHook hook(GetModuleHandleW(L"msvcrt.dll"), "HeapAlloc", &CountedAlloc);
        g_allocated = 0;
        CDocumentStoreXMLReader::ReadDocumentStoreFromMemory(bytes, info);
        return g_allocated;
    };
    const std::string longName = "<Doc><Name>" + text + "</Name></Doc>";
    const std::size_t once = allocated(longName);
    EXPECT_GT(once, text.size()); // the count sees the text
    const std::size_t few = allocated(empty + unknown);
    EXPECT_LT(allocated(longName + empty + unknown), 2 * (once + few));
    EXPECT_LT(allocated(longName + "<Doc><Name>" + text + "</Name>" + unknown + "</Doc>" + empty), 3 * (once + few));
}
