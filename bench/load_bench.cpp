// Loading and freeing the library, which configures logging, beside a DLL with the same imports that does nothing. What
// the two share is the system's: finding, mapping and binding the DLLs that both need.

#include "ChildProgram.h"
#include "Contest.h"

namespace {
void LoadAndFree(benchmark::State& state, const std::wstring& dll) {
    const HMODULE module = LoadLibraryW((ProgramFolder() + L"\\" + dll).c_str());
    if (module == nullptr)
        state.SkipWithError("a DLL could not be loaded");
    FreeLibrary(module);
}

void Load(benchmark::State& state) {
    CContest(state, 0).Run([&] { LoadAndFree(state, L"Quorline.dll"); },
                           [&] { LoadAndFree(state, L"bench-imports.dll"); });
}

BENCHMARK(Load)->Name("load and free the library|a DLL with the same imports that does nothing")->Iterations(20);
} // namespace

BENCHMARK_MAIN();
