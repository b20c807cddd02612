// Proves the form of an info file, byte for byte: DocumentStoreXMLWriter.

#include "WriterFixture.h"

#include "ImportHook.h"
#include "ScriptExecution/DocumentStoreXMLReader.h"
#include "ScriptExecution/InfoFileValue.h"
#include "StorePeer.h"

#include <climits>

using testing::HasSubstr;

namespace {
int g_writes = 0;
BOOL WINAPI CountedWrite(HANDLE file, const void* data, DWORD size, DWORD* written, OVERLAPPED* overlapped) {
    ++g_writes;
    return WriteFile(file, data, size, written, overlapped);
}

BOOL WINAPI FullDisk(HANDLE, const void*, DWORD, DWORD* written, OVERLAPPED*) {
    *written = 0;
    SetLastError(ERROR_DISK_FULL);
    return FALSE;
}

} // namespace

TEST_F(WriterTest, ACompleteFileHasTheseBytes) {
    auto& record = Add(L"Report.doc");
    record.SetDocOriginalPath(L"C:\\Work\\Report.doc");
    record.SetDocTempPath(L"C:\\Users\\u\\Documents\\Talvinor Saved Documents\\2024-03-07_18.05.09\\Report.doc");
    record.SetAppExeImageName(L"winword.exe");
    record.SetAppPath(L"C:\\Program Files\\Office\\winword.exe");
    EXPECT_EQ(Write(&change),
              Lines({
                  "<?xml version=\"1.0\" encoding=\"utf-8\"?>",
                  "\t<DocStore>",
                  "\t\t<Guid>",
                  "\t\t5d8a1c2e-3b4f-4a6d-9e7f-0a1b2c3d4e5f\t\t",
                  "</Guid>",
                  "\t\t<StateChange>",
                  "\t\t\t<When>",
                  "\t\t\t2024-03-07T17:05:09\t\t\t",
                  "</When>",
                  "\t\t\t<Type>",
                  "\t\t\tShutdown\t\t\t",
                  "</Type>",
                  "\t\t\t<Guid>",
                  "\t\t\t0f1e2d3c-4b5a-4968-8776-655443322110\t\t\t",
                  "</Guid>",
                  "\t\t",
                  "</StateChange>",
                  "\t\t<Docs>",
                  "\t\t\t<Doc>",
                  "\t\t\t\t<Name>",
                  "\t\t\t\tReport.doc\t\t\t\t",
                  "</Name>",
                  "\t\t\t\t<OrigPath>",
                  "\t\t\t\tC:\\Work\\Report.doc\t\t\t\t",
                  "</OrigPath>",
                  "\t\t\t\t<TempPath>",
                  "\t\t\t\tC:\\Users\\u\\Documents\\Talvinor Saved Documents\\2024-03-07_18.05.09\\Report.doc\t\t\t\t",
                  "</TempPath>",
                  "\t\t\t\t<AppName>",
                  "\t\t\t\twinword.exe\t\t\t\t",
                  "</AppName>",
                  "\t\t\t\t<AppPath>",
                  "\t\t\t\tC:\\Program Files\\Office\\winword.exe\t\t\t\t",
                  "</AppPath>",
                  "\t\t\t\t<Rec>",
                  "\t\t\t\tFalse\t\t\t\t",
                  "</Rec>",
                  "\t\t\t\t<RestoreScript>",
                  "\t\t\t\t\t\t\t\t",
                  "</RestoreScript>",
                  "\t\t\t\t<SaveScript>",
                  "\t\t\t\t\t\t\t\t",
                  "</SaveScript>",
                  "\t\t\t",
                  "</Doc>",
                  "\t\t",
                  "</Docs>",
                  "\t",
                  "</DocStore>",
              }));
}

TEST_F(WriterTest, AnEmptyStoreWithoutAStateChangeHasTheseBytes) {
    EXPECT_EQ(Write(nullptr), Lines({
                                  "<?xml version=\"1.0\" encoding=\"utf-8\"?>",
                                  "\t<DocStore>",
                                  "\t\t<Guid>",
                                  "\t\t5d8a1c2e-3b4f-4a6d-9e7f-0a1b2c3d4e5f\t\t",
                                  "</Guid>",
                                  "\t\t<Docs>",
                                  "\t\t",
                                  "</Docs>",
                                  "\t",
                                  "</DocStore>",
                              }));
}

TEST_F(WriterTest, ARecordsStatusAndScriptsAreWritten) {
    auto& record = Add(L"a");
    record.SetStatus(TEMP_DOCUMENT_RECOVERED);
    record.SetSaveScriptName(L"save.vbs");
    record.SetRestoreScriptName(L"restore.js");
    Add(L"b").SetStatus(static_cast<TEMP_DOCUMENT_STATUS>(2));
    const std::string file = Write(nullptr);
    EXPECT_THAT(file, HasSubstr("\t\t\t\tTrue\t\t\t\t\r\n</Rec>"));
    EXPECT_THAT(file, HasSubstr("\t\t\t\tFalse\t\t\t\t\r\n</Rec>"));
    EXPECT_THAT(file, HasSubstr("\t\t\t\trestore.js\t\t\t\t\r\n</RestoreScript>"));
    EXPECT_THAT(file, HasSubstr("\t\t\t\tsave.vbs\t\t\t\t\r\n</SaveScript>"));
    EXPECT_LT(file.find("\ta\t"), file.find("\tb\t"));
}

TEST_F(WriterTest, AForcedShutdownIsSpelledWithADAndReadsBackAsNoType) {
    change.SetStateChangeType(ForceShutdown);
    EXPECT_THAT(Write(&change), HasSubstr("\t\t\tForcedShutdown\t\t\t\r\n</Type>"));
    CDocumentStoreInfo info;
    CDocumentStoreXMLReader(path.wstring()).ReadDocumentStore(info);
    EXPECT_EQ(info.GetStateChangeInstance()->GetStateChangeType(), 0u);
}

TEST_F(WriterTest, AnyOtherTypeLeavesTheFileAtItsOpeningTag) {
    WriteBytes(path, std::string(5000, 'x'));
    for (const unsigned type : {0u, 1u, 2u, 4u, 8u, 32u, 0xFFFFFFFFu}) {
        change.SetStateChangeType(static_cast<_STATE_CHANGE_TYPE>(type));
        log.Clear();
        Thrown<CMorvaneException>([&] { Write(&change); });
        EXPECT_EQ(ReadBytes(path), Lines({
                                       "<?xml version=\"1.0\" encoding=\"utf-8\"?>",
                                       "\t<DocStore>",
                                       "\t\t<Guid>",
                                       "\t\t5d8a1c2e-3b4f-4a6d-9e7f-0a1b2c3d4e5f\t\t",
                                       "</Guid>",
                                       "\t\t<StateChange>",
                                       "\t\t\t<When>",
                                       "\t\t\t2024-03-07T17:05:09\t\t\t",
                                       "</When>",
                                       "\t\t\t<Type>",
                                   }));
        ASSERT_EQ(log.Get().size(), 1u);
        EXPECT_TRUE(log.Get()[0].starts_with(
            L"ERROR TalvinorGlobal: Failed sanity test \"State change type is not serializable\"; tested at "
            L"ScriptExecution/DocumentStoreXMLWriter.cpp; line "));
        EXPECT_TRUE(log.Get()[0].ends_with(L"; CDocumentStoreXMLWriter::WriteDocumentStore"));
    }
}

TEST_F(WriterTest, TheTimeIsCutToNineteenCharacters) {
    const std::pair<SYSTEMTIME, const char*> rows[] = {
        {{1601, 1, 0, 1, 0, 0, 0, 0}, "\t1601-01-01T00:00:00\t"},
        {{9999, 12, 0, 31, 23, 59, 59, 999}, "\t9999-12-31T23:59:59\t"},
        {{30827, 12, 0, 31, 23, 59, 59, 0}, "\t30827-12-31T23:59:5\t"},
    };
    for (const auto& [time, text] : rows) {
        change.SetUTCTimestamp(Time(time));
        EXPECT_THAT(Write(&change), HasSubstr(text));
    }
}

TEST_F(WriterTest, ATimeBeyondTheCalendarRaisesAndLeavesTheRecordThatIsThere) {
    Write(nullptr);
    const std::string before = ReadBytes(path);
    change.SetUTCTimestamp({0xFFFFFFFF, 0xFFFFFFFF});
    EXPECT_EQ(Thrown<COSException>([&] { Write(&change); }).GetErrorCode(), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(ReadBytes(path), before);
}

namespace {
RPC_STATUS WINAPI NoText(const UUID*, RPC_WSTR*) {
    return RPC_S_OUT_OF_MEMORY;
}
} // namespace

TEST_F(WriterTest, ASystemFailureOnTheWayLeavesTheRecordThatIsThere) {
    Write(nullptr);
    const std::string before = ReadBytes(path);
    const CImportHook hook(GetModuleHandleW(nullptr), "UuidToStringW", &NoText);
    Thrown<COSException>([&] { Write(&change); });
    EXPECT_EQ(ReadBytes(path), before);
}

TEST_F(WriterTest, AStoreWithoutAnIdentifierGetsAFreshOne) {
    CInternalDocumentStorePeer::ForgetGuid(store);
    const std::string first = Write(nullptr);
    const std::string second = Write(nullptr);
    EXPECT_EQ(first.size(), second.size());
    EXPECT_NE(first, second);
    const std::string id = first.substr(first.find("<Guid>\r\n\t\t") + 10, 36);
    EXPECT_NO_THROW(CGuid(std::wstring(id.begin(), id.end()))) << id;
}

TEST_F(WriterTest, TheFileCostsOneWrite) {
    const CImportHook hook(GetModuleHandleW(L"msvcrt.dll"), "WriteFile", &CountedWrite);
    for (const std::size_t documents : {0u, 1u, 100u, 101u, 1000u}) {
        store.GetSavedDocumentList()->clear();
        for (std::size_t i = 0; i < documents; ++i)
            Add((L"document " + std::wstring(i % 300, L'x')).c_str());
        g_writes = 0;
        Write(&change);
        EXPECT_EQ(g_writes, 1) << ReadBytes(path).size() << " bytes";
    }
}

TEST_F(WriterTest, AReservationCostsOneWriteUpTo64KiB) {
    const CImportHook hook(GetModuleHandleW(L"msvcrt.dll"), "WriteFile", &CountedWrite);
    std::wstring reserved;
    std::wstring info;
    ASSERT_EQ(store.GetInfoFilePath(info, L".xml"), S_OK);
    do {
        g_writes = 0;
        ASSERT_EQ(store.GetNewDocumentPath(std::wstring(100, L'n').c_str(), std::wstring(200, L'o').c_str(), L"txt",
                                           reserved),
                  S_OK);
        ASSERT_EQ(g_writes, 1) << fs::file_size(info);
    } while (fs::file_size(info) < 65536);
}

TEST_F(WriterTest, AFileThatCannotBeMadeRaises) {
    fs::create_directories(path);
    EXPECT_EQ(Thrown<COSException>([&] { Write(nullptr); }).GetErrorCode(), DWORD(EACCES));
    ASSERT_EQ(log.Get().size(), 1u);
    EXPECT_TRUE(log.Get()[0].starts_with(L"ERROR TalvinorGlobal: Call to _tfopen_s failed with \"Permission denied\" "
                                         L"(13); Called from ScriptExecution/DocumentStoreXMLWriter.cpp; line "))
        << log.Get()[0];
    EXPECT_TRUE(log.Get()[0].ends_with(L"; CDocumentStoreXMLWriter::Open"));

    CDocumentStoreXMLWriter nowhere(folder.Path() / L"none" / L"info.xml");
    CDocumentStoreInfo info(nullptr, &store);
    EXPECT_EQ(Thrown<COSException>([&] { nowhere.WriteDocumentStore(info); }).GetErrorCode(), DWORD(ENOENT));
}

TEST_F(WriterTest, AFullDiskIsNotSilent) {
    const CImportHook hook(GetModuleHandleW(L"msvcrt.dll"), "WriteFile", &FullDisk);
    EXPECT_EQ(Thrown<COSException>([&] { Write(nullptr); }).GetErrorCode(), DWORD(ENOSPC));
    EXPECT_TRUE(FAILED(store.WriteInfoFile()));
}

TEST_F(WriterTest, TheFileStaysOpenUntilClosed) {
    CDocumentStoreXMLWriter writer(path.wstring());
    CDocumentStoreInfo info(nullptr, &store);
    writer.WriteDocumentStore(info);
    const auto open = [this] {
        return CUniqueHandle(
            CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    };
    EXPECT_FALSE(open());
    EXPECT_TRUE(ReadBytes(path).ends_with("</DocStore>\r\n"));
    writer.Close();
    EXPECT_TRUE(open());
    writer.Close();
    writer.WriteDocumentStore(info);
    EXPECT_FALSE(open());
    { CDocumentStoreXMLWriter gone(std::move(writer)); }
    EXPECT_TRUE(open());
}

TEST_F(WriterTest, TheStaticFormWritesIntoTheStoresDirectory) {
    std::wstring directory;
    ASSERT_EQ(store.GetStorageDirectory(directory, true), S_OK);
    Add(L"a");
    const std::string head = Lines({"<?xml version=\"1.0\" encoding=\"utf-8\"?>", "\t<DocStore>", "\t\t<Guid>",
                                    "\t\t5d8a1c2e-3b4f-4a6d-9e7f-0a1b2c3d4e5f\t\t", "</Guid>"});
    const std::string section =
        Lines({"\t\t<StateChange>", "\t\t\t<When>", "\t\t\t2024-03-07T17:05:09\t\t\t", "</When>", "\t\t\t<Type>",
               "\t\t\tShutdown\t\t\t", "</Type>", "\t\t\t<Guid>", "\t\t\t0f1e2d3c-4b5a-4968-8776-655443322110\t\t\t",
               "</Guid>", "\t\t", "</StateChange>"});
    const std::string rest = Lines({"\t\t<Docs>",
                                    "\t\t\t<Doc>",
                                    "\t\t\t\t<Name>",
                                    "\t\t\t\ta\t\t\t\t",
                                    "</Name>",
                                    "\t\t\t\t<OrigPath>",
                                    "\t\t\t\t\t\t\t\t",
                                    "</OrigPath>",
                                    "\t\t\t\t<TempPath>",
                                    "\t\t\t\t\t\t\t\t",
                                    "</TempPath>",
                                    "\t\t\t\t<AppName>",
                                    "\t\t\t\t\t\t\t\t",
                                    "</AppName>",
                                    "\t\t\t\t<AppPath>",
                                    "\t\t\t\t\t\t\t\t",
                                    "</AppPath>",
                                    "\t\t\t\t<Rec>",
                                    "\t\t\t\tFalse\t\t\t\t",
                                    "</Rec>",
                                    "\t\t\t\t<RestoreScript>",
                                    "\t\t\t\t\t\t\t\t",
                                    "</RestoreScript>",
                                    "\t\t\t\t<SaveScript>",
                                    "\t\t\t\t\t\t\t\t",
                                    "</SaveScript>",
                                    "\t\t\t",
                                    "</Doc>",
                                    "\t\t",
                                    "</Docs>",
                                    "\t",
                                    "</DocStore>"});
    CDocumentStoreXMLWriter::WriteDocumentStore(&store, &change);
    EXPECT_EQ(ReadBytes(directory + L"\\info.xml"), head + section + rest);
    change.SetStateChangeType(ForceShutdown);
    CDocumentStoreXMLWriter::WriteDocumentStore(&store, &change);
    std::string forced = head + section + rest;
    forced.replace(forced.find("\tShutdown\t"), 10, "\tForcedShutdown\t");
    EXPECT_EQ(ReadBytes(directory + L"\\info.xml"), forced);
    CDocumentStoreXMLWriter::WriteDocumentStore(&store, nullptr);
    EXPECT_EQ(ReadBytes(directory + L"\\info.xml"), head + rest);
    fs::remove(directory + L"\\info.xml");
    EXPECT_EQ(store.WriteInfoFile(), S_OK);
    EXPECT_EQ(ReadBytes(directory + L"\\info.xml"), head + rest);
}

TEST_F(WriterTest, TheStaticFormChecksTheStore) {
    Thrown<CMorvaneException>([&] { CDocumentStoreXMLWriter::WriteDocumentStore(nullptr, &change); });
    CInternalDocumentStorePeer::Uninit(store);
    EXPECT_EQ(
        Thrown<COSException>([&] { CDocumentStoreXMLWriter::WriteDocumentStore(&store, &change); }).GetErrorCode(),
        0x80004005u);
    ASSERT_EQ(log.Get().size(), 2u);
    EXPECT_TRUE(log.Get()[0].starts_with(L"ERROR TalvinorGlobal: Failed sanity test \"Null pStore argument passed to "
                                         L"WriteDocumentStore\"; tested at "));
    EXPECT_TRUE(
        log.Get()[1].starts_with(L"ERROR TalvinorGlobal: Failure HRESULT=0x80004005; \"GetInfoFilePath\"; at "));
    for (const auto& line : log.Get())
        EXPECT_TRUE(line.ends_with(L"; CDocumentStoreXMLWriter::WriteDocumentStore")) << line;
}

TEST_F(WriterTest, ContextsIndentByDepth) {
    int depth = 0;
    std::wstring file;
    {
        CDocumentStoreXMLWriter::CContext outer(depth, L"A", file);
        EXPECT_EQ(depth, 1);
        CDocumentStoreXMLWriter::CContext inner(depth, L"B", file);
        inner.WriteValue(L"v");
        EXPECT_EQ(depth, 2);
    }
    EXPECT_EQ(depth, 0);
    EXPECT_EQ(file, L"\t<A>\n\t\t<B>\n\t\tv\t\t\n</B>\n\t\n</A>\n");
}

TEST_F(WriterTest, IndentingTooDeepRaises) {
    int depth = INT_MAX;
    std::wstring file;
    Thrown<CMorvaneException>([&] { CDocumentStoreXMLWriter::CContext(depth, L"A", file); });
    EXPECT_EQ(depth, INT_MAX);
    EXPECT_EQ(file, L"");
    ASSERT_EQ(log.Get().size(), 1u);
    EXPECT_TRUE(log.Get()[0].starts_with(L"ERROR TalvinorGlobal: Failed sanity test \"indenting too deep\"; tested at "
                                         L"ScriptExecution/DocumentStoreXMLWriter.cpp; line "));
    EXPECT_TRUE(log.Get()[0].ends_with(L"; CContext::IncrementIndent"));
}

TEST_F(WriterTest, ANegativeIndentRaises) {
    int depth = 0;
    std::wstring file;
    Thrown<CMorvaneException>([&] {
        CDocumentStoreXMLWriter::CContext context(depth, L"A", file);
        depth = 0;
    });
    EXPECT_EQ(depth, 0);
    EXPECT_EQ(file, L"\t<A>\n\n</A>\n");
    ASSERT_EQ(log.Get().size(), 1u);
    EXPECT_TRUE(
        log.Get()[0].starts_with(L"ERROR TalvinorGlobal: Failed sanity test \"negative indent level\"; tested at "));
    EXPECT_TRUE(log.Get()[0].ends_with(L"; CContext::DecrementIndent"));
}
