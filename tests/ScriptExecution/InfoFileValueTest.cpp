// Proves what becomes of values in an info file: InfoFileValue, InfoFileFields, DocumentStoreXMLWriter.

#include "WriterFixture.h"

#include "ImportHook.h"
#include "ScriptExecution/DocumentStoreXMLReader.h"
#include "ScriptExecution/InfoFileFields.h"
#include "ScriptExecution/InfoFileValue.h"
#include "StorePeer.h"
#include "base/Utf8.h"

#include <climits>

using testing::HasSubstr;

TEST_F(WriterTest, TextOutsideAsciiIsUtf8AndComesBackWhole) {
    const wchar_t* names[] = {L"\u00e9\u00df", L"\u65e5\u672c\u8a9e", L"\U0001F600\U0010FFFF", L"\u0416"};
    for (const wchar_t* name : names)
        Add(name);
    Add(L"\xD83D half");
    const std::string file = Write(nullptr);
    EXPECT_THAT(file, HasSubstr("\t\xC3\xA9\xC3\x9F\t"));
    EXPECT_THAT(file, HasSubstr("\t\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF\t"));
    EXPECT_THAT(file, HasSubstr("\t\xEF\xBF\xBD half\t"));
    CDocumentStoreInfo info;
    CDocumentStoreXMLReader(path.wstring()).ReadDocumentStore(info);
    const auto& records = *info.GetInternalDocumentStore()->GetSavedDocumentList();
    ASSERT_EQ(records.size(), 5u);
    for (std::size_t i = 0; i < std::size(names); ++i)
        EXPECT_EQ(Text(*records[i], &CInternalSavedDocument::GetDocName), names[i]);
}

TEST_F(WriterTest, EveryFieldOfARecordIsWrittenUnderItsNameAndReadBack) {
    CInternalSavedDocument& record = Add(L"");
    const auto valueOf = [](const CInfoFileField& field) {
        return field.element == InfoFileElement::Rec ? std::wstring(L"True")
                                                     : std::wstring(L"the ") + InfoFileName(field.element);
    };
    for (const CInfoFileField& field : GetInfoFileFields())
        field.set(record, valueOf(field));
    const std::string file = Write(nullptr);
    CDocumentStoreInfo info;
    CDocumentStoreXMLReader(path.wstring()).ReadDocumentStore(info);
    ASSERT_EQ(info.GetInternalDocumentStore()->GetSavedDocumentList()->size(), 1u);
    const CInternalSavedDocument& read = *info.GetInternalDocumentStore()->GetSavedDocumentList()->front();
    std::size_t position = 0;
    for (const CInfoFileField& field : GetInfoFileFields()) {
        const std::string tag = "<" + ToUtf8(InfoFileName(field.element)) + ">";
        EXPECT_EQ(field.get(read), valueOf(field)) << tag;
        EXPECT_GT(file.find(tag, position), position) << tag; // in this order
        position = file.find(tag, position);
        ASSERT_NE(position, std::string::npos) << tag;
    }
}

TEST_F(WriterTest, TheEdgesBetweenTheLengthsOfUtf8AreEncoded) {
    const std::pair<const wchar_t*, const char*> rows[] = {
        {L"\x7F", "\x7F"},
        {L"\x80", "\xC2\x80"},
        {L"\x7FF", "\xDF\xBF"},
        {L"\x800", "\xE0\xA0\x80"},
        {L"\xD7FF", "\xED\x9F\xBF"},
        {L"\xE000", "\xEE\x80\x80"},
        {L"\xFFFF", "\xEF\xBF\xBF"},
        {L"\U00010000", "\xF0\x90\x80\x80"},
        {L"\U0010FFFF", "\xF4\x8F\xBF\xBF"},
        {L"\xDC00", "\xEF\xBF\xBD"},
        {L"\xDC00\xD800", "\xEF\xBF\xBD\xEF\xBF\xBD"},
    };
    for (const auto& [name, bytes] : rows) {
        store.GetSavedDocumentList()->clear();
        Add(name);
        EXPECT_THAT(Write(nullptr), HasSubstr(std::string("<Name>\r\n\t\t\t\t") + bytes + "\t\t\t\t\r\n</Name>"));
    }
}

TEST_F(WriterTest, ValuesOfEveryLengthAreWrittenWholeWhereverAStrangeCharacterStands) {
    const std::pair<const wchar_t*, const char*> characters[] = {
        {L"b", "b"}, {L"~", "~"}, {L"%%", "%"}, {L"\n", "\r\n"}, {L"\u00e9", "\xC3\xA9"}, {L"\x8000", "\xE8\x80\x80"}};
    std::vector<std::size_t> lengths{1023, 1024, 1025, 5000};
    for (std::size_t length = 0; length < 20; ++length)
        lengths.push_back(length);
    std::vector<std::string> expected;
    for (const auto& [character, bytes] : characters)
        for (const std::size_t length : lengths)
            for (const std::size_t at : {std::size_t{0}, length / 3, length / 2, length - length / 8, length}) {
                Add((std::wstring(at, L'a') + character + std::wstring(length - at, L'a')).c_str());
                expected.push_back(std::string(at, 'a') + bytes + std::string(length - at, 'a'));
            }
    const std::string file = Write(nullptr);
    std::size_t position = 0;
    for (const std::string& value : expected) {
        const std::string element = "<Name>\r\n\t\t\t\t" + value + "\t\t\t\t\r\n</Name>";
        position = file.find("<Name>", position + 1);
        ASSERT_NE(position, std::string::npos);
        ASSERT_EQ(file.substr(position, element.size()), element);
    }
}

TEST_F(WriterTest, ValuesArePrintedAsTheirOwnFormat) {
    const std::pair<const wchar_t*, const wchar_t*> rows[] = {
        {L"", L""},
        {L"plain", L"plain"},
        {L"%%", L"%"},
        {L"100%%d", L"100%d"},
        {L"%d", L"0"},
        {L"a%5db", L"a    0b"},
        {L"%-5d|", L"0    |"},
        {L"%+d% d%05d", L"+0 000000"},
        {L"%.3d", L"000"},
        {L"%*d%.*d|", L"0|"},
        {L"%x%X%o%u%i", L"00000"},
        {L"%I64d%I32u%Ix%lld%ld%hd%hhd%zd", L"00000000"},
        {L"%f", L"0.000000"},
        {L"%.1e", L"0.0e+000"},
        {L"%s%S%hs%ls%ws", L"(null)(null)(null)(null)(null)"},
        {L"%8s|%-8s|%.2s", L"  (null)|(null)  |(n"},
        {L"%Z", L"(null)"},
        {L"%p", L"0000000000000000"},
        {L"%c|%C|%3c|", L"||  |"},
        {L"%n%hn%lln%5n|", L"|"},
        {L"50% off", L"500ff"},
        {L"%", L""},
        {L"%5", L""},
        {L"%I64", L""},
        {L"%.", L""},
        {L"%l", L""},
        {L"%y%5!%k", L"y!k"},
        {L"%\u00e9", L"\u00e9"},
    };
    for (const auto& [value, printed] : rows)
        EXPECT_EQ(FormatInfoFileValue(value), printed) << value;
    EXPECT_EQ(FormatInfoFileValue(std::wstring(L"a\0%d", 4)), L"a");
}

TEST_F(WriterTest, WhatAConversionPrintsIsBounded) {
    const std::pair<const wchar_t*, std::size_t> rows[] = {
        {L"%#0100x", 100},        {L"%600d", 600},
        {L"%.600d", 600},         {L"%.1000f", 1002},
        {L"%999999999d", 4095},   {L"%-2147483648s", 4095},
        {L"%.999999999d", 4095},  {L"%.99999f", 4095},
        {L"%99999.99999e", 4095}, {L"%99999999999999999999999x", 4095},
        {L"%.2200000a", 4095},    {L"%0000000000000000000000005d", 5},
        {L"%4095d%4095d|", 8191},
    };
    for (const auto& [value, length] : rows)
        EXPECT_EQ(FormatInfoFileValue(value).size(), length) << value;
    std::wstring many;
    for (int i = 0; i < 10'000; ++i)
        many += L"%9999d!";
    EXPECT_EQ(FormatInfoFileValue(many).size(), 65'536u + 10'000u);
}

TEST_F(WriterTest, ADocumentNameOfAnyWidthIsWritten) {
    for (const wchar_t* name : {L"%#0100x", L"%#049x", L"%.2200000d", L"%.99999f", L"%2147483647s"}) {
        Add(name);
        EXPECT_THAT(Write(nullptr), HasSubstr("</DocStore>"));
    }
    CDocumentStoreInfo info;
    CDocumentStoreXMLReader(path.wstring()).ReadDocumentStore(info);
    const auto& records = *info.GetInternalDocumentStore()->GetSavedDocumentList();
    ASSERT_EQ(records.size(), 5u);
    EXPECT_EQ(Text(*records[0], &CInternalSavedDocument::GetDocName), std::wstring(100, L'0'));
}

TEST_F(WriterTest, AnyTextPrintsWithoutHarm) {
    // Every conversion behind every size, with flags, and random mixtures of all that a directive is made of.
    const std::wstring alphabet = L"%%%%%%-+ 0#*.0123456789hlLwI64I32FNdiouxXcCeEfgGaAnpsSZ\\{}<>&";
    unsigned seed = 12345;
    for (int round = 0; round < 20000; ++round) {
        std::wstring value;
        for (int i = 0; i < 40; ++i) {
            seed = seed * 1664525 + 1013904223;
            value += alphabet[(seed >> 8) % alphabet.size()];
        }
        EXPECT_LE(FormatInfoFileValue(value).size(), 40u + 65'536u) << value;
    }
}

TEST_F(WriterTest, APercentInAnyValueReachesTheFileAsAConversion) {
    auto& record = Add(L"100%d.txt");
    record.SetDocOriginalPath(L"%s");
    record.SetAppPath(L"%n");
    record.SetAppExeImageName(L"%%");
    const std::string file = Write(nullptr);
    EXPECT_THAT(file, HasSubstr("\t1000.txt\t"));
    EXPECT_THAT(file, HasSubstr("\t(null)\t"));
    EXPECT_THAT(file, HasSubstr("\t%\t"));
}

TEST_F(WriterTest, MarkupInAValueMakesAFileThatDoesNotReadBack) {
    for (const wchar_t* name : {L"a&b", L"a<b"}) {
        store.GetSavedDocumentList()->clear();
        Add(name);
        const std::string file = Write(nullptr);
        EXPECT_THAT(file, HasSubstr(name[1] == L'&' ? "\ta&b\t" : "\ta<b\t"));
        CDocumentStoreInfo info;
        const auto failure =
            Thrown<CXmlParseException>([&] { CDocumentStoreXMLReader(path.wstring()).ReadDocumentStore(info); });
        EXPECT_TRUE(failure.GetText().starts_with(L"Parse error at line ")) << failure.GetText();
    }
}

TEST_F(WriterTest, LineEndsInAValueGetTheTextStreamsForm) {
    Add(L"a\nb\r\nc");
    EXPECT_THAT(Write(nullptr), HasSubstr("\ta\r\nb\r\r\nc\t"));
}
