// The memory that a store needs at most while it is filled, beside the bytes that its records are. Bytes stand where
// other programs have nanoseconds.

#include "Contest.h"
#include "MemoryUse.h"

#include "InternalDocumentStore.h"
#include "IntlHelper/CultureHelper.h"
#include "ScriptExecution/InfoFileFields.h"

#include "DocumentsFolder.h"

#include <log4cxx/logger.h>

namespace {
/// The record and its texts, each with its terminator.
double BytesOf(const CInternalSavedDocument& document) {
    std::size_t bytes = sizeof document;
    for (const CInfoFileField& field : GetInfoFileFields())
        if (field.element != InfoFileElement::Rec)
            bytes += (field.get(document).size() + 1) * sizeof(wchar_t);
    return static_cast<double>(bytes);
}

void Fill(CInternalDocumentStore& store, int64_t documents) {
    std::wstring path;
    store.SetCurrentAppInfo(L"winword.exe", L"Office", L"C:\\Program Files\\Office\\winword.exe");
    for (int64_t i = 0; i < documents; ++i) {
        const std::wstring name = L"Report " + std::to_wstring(i) + L".doc";
        store.GetNewDocumentPath(name.c_str(), (L"C:\\Work\\" + name).c_str(), L"", path);
    }
}

struct CPeak {
    double most = 0;
    double records = 0;
};

CPeak MeasurePeak(int64_t documents) {
    const CDocumentsFolder folder;
    CInternalDocumentStore store;
    const CMemoryUse use;
    Fill(store, documents);
    CPeak peak{static_cast<double>(CMemoryUse::Most()), 0};
    for (const auto& document : *store.GetSavedDocumentList())
        peak.records += BytesOf(*document);
    return peak;
}

void PeakOfASave(benchmark::State& state) {
    CContest contest(state, 5);
    for ([[maybe_unused]] auto round : state) {
        const CPeak peak = MeasurePeak(state.range(0));
        contest.Add(peak.most, peak.records);
    }
    contest.Report();
    state.counters["bytes"] = 1;
}

BENCHMARK(PeakOfASave)
    ->Name("peak memory of a save, documents|the records' own bytes")
    ->Iterations(1)
    ->Arg(100)
    ->Arg(1000);
} // namespace

int main(int argc, char** argv) {
    CCultureHelper::InitInstance(nullptr, nullptr);
    log4cxx::Logger::getRootLogger()->setLevel(log4cxx::Level::getOff());
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
