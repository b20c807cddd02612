// What the info file costs beside the bare work under it: a reservation against one CreateFileW and one WriteFile of
// the same bytes, and reading against expat alone on the same file. The argument is how many documents the store holds.

#include "InternalDocumentStore.h"
#include "IntlHelper/CultureHelper.h"
#include "ScriptExecution/DocumentStoreInfo.h"
#include "ScriptExecution/DocumentStoreXMLReader.h"

#include "base/UniqueHandle.h"
#include "DocumentsFolder.h"

#include <benchmark/benchmark.h>
#include <expat.h>
#include <log4cxx/logger.h>

#include <fstream>
#include <iterator>

namespace {
/// A store on disk with this many documents reserved in it.
class CFilledStore {
public:
    explicit CFilledStore(int64_t documents) {
        std::wstring path;
        for (int64_t i = 0; i < documents; ++i)
            store.GetNewDocumentPath((L"Report " + std::to_wstring(i) + L".doc").c_str(), L"C:\\Work\\Report.doc", L"",
                                     path);
        store.WriteInfoFile();
        store.GetInfoFilePath(infoPath, L".xml");
        std::ifstream file(std::filesystem::path(infoPath), std::ios::binary);
        bytes.assign(std::istreambuf_iterator<char>(file), {});
    }

    CDocumentsFolder folder;
    CInternalDocumentStore store;
    std::wstring infoPath;
    std::string bytes;
};

void Reserve(benchmark::State& state) {
    CFilledStore filled(state.range(0));
    auto& list = *filled.store.GetSavedDocumentList();
    std::wstring path;
    int64_t n = 0;
    for (auto _ : state) {
        if (filled.store.GetNewDocumentPath((L"New " + std::to_wstring(++n) + L".doc").c_str(), L"C:\\Work\\New.doc",
                                            L"", path) != S_OK)
            state.SkipWithError("no reservation");
        list.pop_back(); // the store keeps its size
    }
}

/// The same without the probe for a free name.
void RewriteInfoFile(benchmark::State& state) {
    CFilledStore filled(state.range(0));
    for (auto _ : state)
        if (filled.store.WriteInfoFile() != S_OK)
            state.SkipWithError("not written");
    state.SetBytesProcessed(static_cast<int64_t>(filled.bytes.size()) * state.iterations());
}

void BareWrite(benchmark::State& state) {
    const CFilledStore filled(state.range(0));
    for (auto _ : state) {
        const CUniqueHandle file(
            CreateFileW(filled.infoPath.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
        DWORD written = 0;
        if (!WriteFile(file.Get(), filled.bytes.data(), static_cast<DWORD>(filled.bytes.size()), &written, nullptr))
            state.SkipWithError("not written");
    }
    state.SetBytesProcessed(static_cast<int64_t>(filled.bytes.size()) * state.iterations());
}

void Read(benchmark::State& state) {
    const CFilledStore filled(state.range(0));
    for (auto _ : state) {
        CDocumentStoreInfo info;
        CDocumentStoreXMLReader(filled.infoPath).ReadDocumentStore(info);
        benchmark::DoNotOptimize(info);
    }
    state.SetBytesProcessed(static_cast<int64_t>(filled.bytes.size()) * state.iterations());
}

void BareExpat(benchmark::State& state) {
    const CFilledStore filled(state.range(0));
    for (auto _ : state) {
        std::ifstream file(std::filesystem::path(filled.infoPath), std::ios::binary);
        const std::string bytes(std::istreambuf_iterator<char>(file), {});
        const XML_Parser parser = XML_ParserCreate(nullptr);
        if (XML_Parse(parser, bytes.data(), static_cast<int>(bytes.size()), XML_TRUE) != XML_STATUS_OK)
            state.SkipWithError("not parsed");
        XML_ParserFree(parser);
    }
    state.SetBytesProcessed(static_cast<int64_t>(filled.bytes.size()) * state.iterations());
}

BENCHMARK(Reserve)->Arg(1)->Arg(20)->Arg(150);
BENCHMARK(RewriteInfoFile)->Arg(1)->Arg(20)->Arg(150);
BENCHMARK(BareWrite)->Arg(1)->Arg(20)->Arg(150);
BENCHMARK(Read)->Arg(1)->Arg(20)->Arg(150);
BENCHMARK(BareExpat)->Arg(1)->Arg(20)->Arg(150);
} // namespace

int main(int argc, char** argv) {
    CCultureHelper::InitInstance(nullptr, nullptr);
    log4cxx::Logger::getRootLogger()->setLevel(log4cxx::Level::getOff());
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
