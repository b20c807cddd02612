// What a document store costs beside the bare work under it: a reservation, a name, the info file written and read, and
// the history of many stores. The argument is how many documents or stores there are.

#include "Contest.h"

#include "InternalDocumentStore.h"
#include "IntlHelper/CultureHelper.h"
#include "ScriptExecution/DocumentStoreHistory.h"
#include "ScriptExecution/DocumentStoreInfo.h"
#include "ScriptExecution/DocumentStoreXMLReader.h"
#include "ScriptExecution/DocumentStoreXMLWriter.h"

#include "base/PathHelper.h"
#include "base/UniqueHandle.h"
#include "DocumentsFolder.h"

#include <benchmark/benchmark.h>
#include <expat.h>
#include <log4cxx/logger.h>

#include <shlobj.h>

#include <fstream>
#include <iterator>

namespace {
std::string ReadAll(const std::wstring& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// A store on disk with this many documents in it.
class CFilledStore {
public:
    explicit CFilledStore(int64_t documents) {
        std::wstring directory;
        store.GetStorageDirectory(directory, true);
        store.SetCurrentAppInfo(L"winword.exe", L"Office", L"C:\\Program Files\\Office\\winword.exe");
        for (int64_t i = 0; i < documents; ++i) {
            const std::wstring name = L"Report " + std::to_wstring(i) + L".doc";
            auto& record = *store.GetSavedDocumentList()->emplace_back(std::make_unique<CInternalSavedDocument>());
            record.SetDocName(name);
            record.SetDocOriginalPath(L"C:\\Work\\" + name);
            record.SetDocTempPath(JoinPath(directory, name));
            record.SetAppExeImageName(L"winword.exe");
            record.SetAppPath(L"C:\\Program Files\\Office\\winword.exe");
            record.SetSaveScriptName(L"word-save.vbs");
            record.SetRestoreScriptName(L"word-restore.vbs");
        }
        store.WriteInfoFile();
        store.GetInfoFilePath(infoPath, InfoFileExtension);
        bytes = ReadAll(infoPath);
    }

    CDocumentsFolder folder;
    CInternalDocumentStore store;
    std::wstring infoPath;
    std::string bytes;
};

/// The bytes in one call, on the disk before anything else happens, as the record of a machine about to go down must
/// be.
void WriteBare(benchmark::State& state, const std::wstring& path, std::string_view bytes) {
    const CUniqueHandle file(CreateFileW(path.c_str(), GENERIC_WRITE,
                                         FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, CREATE_ALWAYS,
                                         FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    if (!WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) ||
        !FlushFileBuffers(file.Get()))
        state.SkipWithError("not written");
}

void WriteAndRename(benchmark::State& state, const CFilledStore& filled) {
    const std::wstring sibling = filled.infoPath + L".bare";
    WriteBare(state, sibling, filled.bytes);
    if (!MoveFileExW(sibling.c_str(), filled.infoPath.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
        state.SkipWithError("not renamed");
}

void GetNew(benchmark::State& state) {
    CFilledStore filled(state.range(0) - 1);
    auto& list = *filled.store.GetSavedDocumentList();
    std::wstring path;
    int n = 0;
    CContest(state, 1.5)
        .Run(
            [&] {
                const std::wstring name = L"New " + std::to_wstring(++n) + L".doc";
                if (filled.store.GetNewDocumentPath(name.c_str(), L"C:\\Work\\New.doc", L"", path) != S_OK)
                    state.SkipWithError("no reservation");
                list.pop_back(); // the store keeps its size
            },
            [&] { WriteAndRename(state, filled); });
}

bool ProbeBare(const std::wstring& path) {
    CUniqueHandle file(
        CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, CREATE_NEW, 0, nullptr));
    if (!file)
        return false;
    file.Reset();
    return DeleteFileW(path.c_str()) != FALSE;
}

/// The reservation as a whole, less the record of it, which the row above has: a store that cannot write its info file
/// reserves all the same.
class CSameName {
public:
    explicit CSameName(int64_t before) {
        std::wstring path;
        m_store.GetStorageDirectory(m_directory, true);
        CreateDirectoryW(JoinPath(m_directory, InfoFile).c_str(), nullptr);
        for (int64_t i = 0; i < before; ++i) {
            m_store.GetNewDocumentPath(L"Report.doc", L"", L"", path);
            std::ofstream(std::filesystem::path(path)) << "saved";
            m_names.push_back(path);
        }
        m_store.GetSavedDocumentList()->clear();
    }

    CDocumentsFolder m_folder;
    CInternalDocumentStore m_store;
    std::wstring m_directory;
    std::vector<std::wstring> m_names;
};
} // namespace

/// The part of a reservation that finds the name.
struct CInternalDocumentStorePeer {
    static bool FindName(CInternalDocumentStore& store, std::wstring name, const std::wstring& directory) {
        DWORD error = 0;
        return CInternalDocumentStore::EnsureFilenameUnique(name, L".doc", directory, store.m_namesInUse, error);
    }
};

namespace {
/// The other side probes what nameOf makes of each name and a number.
template <class NameOf> void SameNameBeside(benchmark::State& state, double goal, NameOf nameOf) {
    auto& same = FixtureOf<CSameName>(state.range(0) - 1);
    unsigned next = 0;
    CContest(state, goal)
        .Run(
            [&] {
                if (!CInternalDocumentStorePeer::FindName(same.m_store, L"Report", same.m_directory))
                    state.SkipWithError("no name");
            },
            [&] {
                for (const std::wstring& name : same.m_names)
                    if (ProbeBare(name))
                        state.SkipWithError("a saved copy is gone");
                // Another one each time, as on the other side: of a name that it was just asked for the system knows
                // more.
                if (!ProbeBare(nameOf(same.m_directory, static_cast<unsigned>(state.range(0)) + next++)))
                    state.SkipWithError("the name is taken");
            });
}

void SameName(benchmark::State& state) {
    SameNameBeside(state, 1.0, [](const std::wstring& directory, unsigned number) {
        return directory + L"\\Letter(" + std::to_wstring(number) + L").doc";
    });
}

/// The names that a reservation has to form are texts of the message formatter; and since two of them may mean one
/// file, the system is asked.
void SameNameFormed(benchmark::State& state) {
    SameNameBeside(state, CContest::Proves, [](const std::wstring& directory, unsigned number) {
        std::wstring path;
        std::wstring name;
        CCultureHelper::GetInstance().Format(path, L"{0:%s}/{1:%s}({2:%u}){3:%s}", directory.c_str(), L"Letter", number,
                                             L".doc");
        CCultureHelper::GetInstance().Format(name, L"{0:%s}({1:%d})", L"Letter", number);
        return FullPath(path);
    });
}

void WriteInfo(benchmark::State& state) {
    CFilledStore filled(state.range(0));
    CContest(state, 2.0)
        .Run(
            // Of a store that was never written before.
            [&] { CDocumentStoreXMLWriter::WriteDocumentStore(&filled.store, nullptr); },
            [&] { WriteBare(state, filled.infoPath + L".bare", filled.bytes); });
}

void XMLCALL IgnoreStart(void*, const XML_Char*, const XML_Char**) {}
void XMLCALL IgnoreEnd(void*, const XML_Char*) {}
void XMLCALL IgnoreText(void*, const XML_Char*, int) {}

void ParseBare(benchmark::State& state, const std::wstring& path) {
    const CUniqueStream file(_wfopen(path.c_str(), L"rb"));
    const XML_Parser parser = XML_ParserCreate(nullptr);
    XML_SetElementHandler(parser, &IgnoreStart, &IgnoreEnd);
    XML_SetCharacterDataHandler(parser, &IgnoreText);
    char block[1024];
    for (bool last = false; file && !last;) {
        const std::size_t size = fread(block, 1, sizeof block, file.get());
        last = feof(file.get()) != 0;
        if (XML_Parse(parser, block, static_cast<int>(size), last) != XML_STATUS_OK)
            state.SkipWithError("not parsed");
    }
    XML_ParserFree(parser);
}

template <class Bare> void ReadBeside(benchmark::State& state, double goal, Bare bare) {
    const CFilledStore filled(state.range(0));
    CContest(state, goal)
        .Run(
            [&] {
                CDocumentStoreInfo info;
                CDocumentStoreXMLReader(filled.infoPath).ReadDocumentStore(info);
                if (info.GetInternalDocumentStore()->GetSavedDocumentList()->size() !=
                    static_cast<std::size_t>(state.range(0)))
                    state.SkipWithError("not all was read");
            },
            [&] { bare(filled.infoPath); });
}

void ReadInfo(benchmark::State& state) {
    ReadBeside(state, 1.5, [&](const std::wstring& path) { ParseBare(state, path); });
}

/// What a store asks for to know its folder: who the thread acts as, and where the documents are.
void FindFolderBare() {
    CUniqueHandle token;
    if (!OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.Put()))
        OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Put());
    wchar_t documents[MAX_PATH];
    SHGetFolderPathW(nullptr, CSIDL_PERSONAL | CSIDL_FLAG_CREATE, nullptr, SHGFP_TYPE_CURRENT, documents);
}

/// A store works its folder out when it is made, and again when it is given the identifier that the file has.
void ReadInfoOfStore(benchmark::State& state) {
    ReadBeside(state, CContest::Proves, [&](const std::wstring& path) {
        FindFolderBare();
        FindFolderBare();
        ParseBare(state, path);
    });
}

/// So many stores with three documents each.
class CManyStores {
public:
    explicit CManyStores(int64_t stores) : filled(3) {
        for (int64_t i = 1; i < stores; ++i) {
            const auto directory = filled.folder.Base() / (L"2024-01-01_00.00." + std::to_wstring(i));
            std::filesystem::create_directories(directory);
            std::ofstream(directory / InfoFile, std::ios::binary) << filled.bytes;
        }
    }

    CFilledStore filled;
};

void History(benchmark::State& state) {
    const CManyStores& stores = FixtureOf<CManyStores>(state.range(0));
    CContest(state, 1.3)
        .Run(
            [&] {
                CDocumentStoreHistory::GetInstance().Refresh();
                if (CDocumentStoreHistory::GetInstance().GetSavedDocumentInfos().size() !=
                    static_cast<std::size_t>(state.range(0)))
                    state.SkipWithError("not all stores were found");
            },
            [&] {
                WIN32_FIND_DATAW entry{};
                const std::wstring base = stores.filled.folder.Base().wstring();
                const CUniqueFindHandle search(FindFirstFileW((base + L"\\*").c_str(), &entry));
                do {
                    if (entry.cFileName[0] != L'.')
                        ParseBare(state, base + L"\\" + entry.cFileName + L"\\info.xml");
                } while (FindNextFileW(search.Get(), &entry));
            });
}

constexpr const char* getNew = "one GetNew in a store of|the same bytes written, and one rename";
BENCHMARK(GetNew)->Name(getNew)->Iterations(20)->Arg(1)->Arg(10)->Arg(100)->Arg(1000);
BENCHMARK(GetNew)->Name(getNew)->Iterations(8)->Arg(10000);
BENCHMARK(SameName)
    ->Name("find the name for the same document, time|one CreateFileW probe for each name")
    ->Iterations(20)
    ->Arg(1)
    ->Arg(100)
    ->Arg(1000);
BENCHMARK(SameNameFormed)
    ->Name("find the name for the same document, time|the same, with the names formed and the full path asked for")
    ->Iterations(100)
    ->Arg(1);
BENCHMARK(WriteInfo)
    ->Name("write an info file, documents|the same bytes with one write call")
    ->Iterations(20)
    ->Arg(100)
    ->Arg(1000);
BENCHMARK(ReadInfo)
    ->Name("read an info file, documents|expat with empty handlers")
    ->Iterations(20)
    ->Arg(100)
    ->Arg(1000);
BENCHMARK(ReadInfoOfStore)
    ->Name("read an info file, documents|expat, and the store's folder found twice")
    ->Iterations(20)
    ->Arg(100)
    ->Arg(1000);
BENCHMARK(History)
    ->Name("history over stores|search, open, read, parse with empty handlers")
    ->Iterations(2)
    ->Arg(200)
    ->Arg(2000);
} // namespace

int main(int argc, char** argv) {
    CCultureHelper::InitInstance(nullptr, nullptr);
    log4cxx::Logger::getRootLogger()->setLevel(log4cxx::Level::getOff());
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
