// The commands as a user meets them, from the start of the process to its end: `quorline history` beside `dir`, and a
// whole save with real signatures beside its bare parts. Each application's script stores one document for each
// process.

#include "Applications.h"
#include "Contest.h"

#include "cms/SignatureBlock.h"
#include "DocumentsFolder.h"
#include "TestAuthority.h"

#include <log4cxx/logger.h>

namespace {
constexpr int ApplicationCount = 5;
constexpr const wchar_t* SaveScript =
    L"Dim path, file\r\n"
    L"path = TalvinorDocumentStore.GetNew(\"Letter \" & Process.Id, \"\", \".txt\")\r\n"
    L"Set file = CreateObject(\"Scripting.FileSystemObject\").CreateTextFile(path, True)\r\n"
    L"file.Write \"A letter that would take an evening to write again.\"\r\n"
    L"file.Close\r\n";

void RegisterComponents(const std::wstring& option) {
    for (const wchar_t* dll : {L"Quorline.dll", L"QuorlineHost.dll", L"QuorlineSigner.dll"})
        if (RunProgram(L"regsvr32 /s " + option + L"\"" + ProgramFolder() + L"\\" + dll + L"\"").exitCode != 0)
            throw std::runtime_error("a component could not be registered");
}

void RequireSuccess(benchmark::State& state, const CProgramResult& result) {
    if (result.exitCode != 0)
        state.SkipWithError((result.err + result.out).c_str());
}

std::string Utf8(std::wstring_view text) {
    return {text.begin(), text.end()}; // plain ASCII here
}

/// Scripts, applications file, and what the bare save reads.
class CSaveFiles {
public:
    CSaveFiles() {
        const std::wstring text = SignWith(Authority().Publisher(), SaveScript);
        const CBytes signature = SignatureOf(text);
        m_folder.Write(L"save.vbs", Utf8(text));
        m_folder.Write(L"text.utf16", {reinterpret_cast<const char*>(SaveScript),
                                       reinterpret_cast<const char*>(SaveScript + std::wcslen(SaveScript))});
        m_folder.Write(L"signature", {signature.begin(), signature.end()});
        std::string applications;
        for (int i = 0; i < ApplicationCount; ++i)
            applications += (i == 0 ? "" : ",") + (R"({"friendlyName":"App )" + std::to_string(i)) +
                            R"(","executables":[")" + Utf8(CApplications::NameOf(i)) +
                            R"("],"stateChanges":["hibernate"],"saveScript":"save.vbs","restoreScript":"save.vbs"})";
        m_folder.Write(L"apps.json", R"({"applications":[)" + applications + "]}");
    }

    std::wstring Ours() const {
        return QuorlineCommand(L"save --state hibernate --apps \"" + m_folder.Path(L"apps.json") + L"\"");
    }
    std::wstring Bare() const {
        static int number = 0;
        return L"\"" + ProgramFolder() + L"\\bench-save.exe\" \"" + m_folder.Path(L"text.utf16") + L"\" \"" +
               m_folder.Path(L"signature") + L"\" \"" + m_folder.Path(L"bare-" + std::to_wstring(++number)) + L"\" " +
               std::to_wstring(ApplicationCount);
    }

private:
    CTempFolder m_folder;
};

/// The components, for the whole program.
class CComponents {
public:
    CComponents() { RegisterComponents(L""); }
    ~CComponents() { RegisterComponents(L"/u "); }
    CComponents(const CComponents&) = delete;
    CComponents& operator=(const CComponents&) = delete;
};

class CRunning {
public:
    explicit CRunning(int64_t processes) { m_applications.Start(static_cast<int>(processes), ApplicationCount); }

    CDocumentsFolder documents;
    CSaveFiles files;

private:
    CApplications m_applications;
};

/// A store is called after the second in which it was made, and the next one of the same second waits for its end. No
/// machine goes down twice in one.
void AwaitNextSecond() {
    SYSTEMTIME now{};
    GetLocalTime(&now);
    Sleep(1000u - now.wMilliseconds);
}

void WholeSave(benchmark::State& state) {
    const CRunning& running = FixtureOf<CRunning>(state.range(0));
    CContest(state, 1.25)
        .Run([&] { RequireSuccess(state, RunProgram(running.files.Ours())); },
             [&] { RequireSuccess(state, RunProgram(running.files.Bare())); }, &AwaitNextSecond);
}

class CManyStores {
public:
    explicit CManyStores(int64_t stores) {
        for (int64_t i = 0; i < stores; ++i) {
            const auto directory = documents.Base() / (L"2024-01-01_00.00." + std::to_wstring(i));
            std::filesystem::create_directories(directory);
            const std::string copy = Utf8((directory / L"Letter.txt").wstring());
            std::ofstream(directory / L"Letter.txt") << "text";
            std::ofstream(directory / L"info.xml")
                << "<?xml version=\"1.0\" encoding=\"utf-8\"?><DocStore>"
                   "<Guid>5d8a1c2e-3b4f-4a6d-9e7f-0a1b2c3d4e5f</Guid><Docs><Doc><Name>Letter</Name><OrigPath></"
                   "OrigPath>"
                   "<TempPath>"
                << copy
                << "</TempPath><AppName>app.exe</AppName><AppPath>C:\\app.exe</AppPath><Rec>False</Rec>"
                   "<RestoreScript>restore.vbs</RestoreScript><SaveScript>save.vbs</SaveScript></Doc></Docs></"
                   "DocStore>";
        }
    }

    CDocumentsFolder documents;
};

template <class Bare> void HistoryBeside(benchmark::State& state, double goal, Bare bare) {
    const CManyStores& stores = FixtureOf<CManyStores>(state.range(0));
    CContest(state, goal)
        .Run([&] { RequireSuccess(state, RunProgram(QuorlineCommand(L"history"))); },
             [&] {
                 const std::filesystem::path base = stores.documents.Base();
                 RequireSuccess(state, RunProgram(L"cmd /c dir \"" + base.wstring() + L"\""));
                 bare(base);
             });
}

void HistoryOfStores(benchmark::State& state) {
    HistoryBeside(state, 3, [](const std::filesystem::path&) {});
}

/// What no history can do without: each store's files listed, its record read, its saved copy looked at.
void HistoryOfStoresRead(benchmark::State& state) {
    HistoryBeside(state, CContest::Proves, [](const std::filesystem::path& base) {
        for (const auto& store : std::filesystem::directory_iterator(base))
            for (const auto& file : std::filesystem::directory_iterator(store.path())) {
                const CUniqueHandle opened(CreateFileW(file.path().c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                                       OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
                char bytes[4096];
                DWORD size = 0;
                benchmark::DoNotOptimize(ReadFile(opened.Get(), bytes, sizeof bytes, &size, nullptr));
            }
    });
}

BENCHMARK(HistoryOfStores)
    ->Name("quorline history, stores|cmd /c dir of the folder")
    ->Iterations(1)
    ->Arg(200)
    ->Arg(2000);
BENCHMARK(HistoryOfStoresRead)
    ->Name("quorline history, stores|dir, and the files of each store listed and read")
    ->Iterations(1)
    ->Arg(200)
    ->Arg(2000);
BENCHMARK(WholeSave)
    ->Name("a whole save of processes|its bare parts")
    ->Iterations(4)
    ->Arg(1)
    ->Arg(10)
    ->Arg(50)
    ->Arg(200);
} // namespace

int main(int argc, char** argv) {
    if (!CTestAuthority::IsChild())
        return CTestAuthority::RunChild();
    log4cxx::Logger::getRootLogger()->setLevel(log4cxx::Level::getOff());
    const CComponents components;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
